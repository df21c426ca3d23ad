#include "views/Strays.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace client {

namespace {

constexpr size_t kIndexMemory = 400;  // bytes, roughly, of the places of one in the list and the indexes

unsigned long Distance(unsigned long one, unsigned long other) { return std::max(one, other) - std::min(one, other); }

}  // namespace

Strays::Stray::Stray(ComparedRecord&& record, Side side, unsigned long place, unsigned long number)
    : Record(std::move(record)),
      From(side),
      Place(place),
      Number(number),
      Marks{Record.Content(), Record.Message(), 0} {}

Strays::Key Strays::KeyOf(const Stray& stray, Likeness likeness) {
  return {stray.Marks[likeness], stray.Place, stray.Number};
}

void Strays::Add(Side side, ComparedRecord&& record, unsigned long place) {
  std::list<Stray>& list = Of(side);
  const Position position = list.emplace(list.end(), std::move(record), side, place, Count++);
  for (const Likeness likeness : {SameContent, SameMessage, SameMoment})
    IndexOf(side, likeness).emplace(KeyOf(*position, likeness), position);
  Size += position->Record.Memory() + kIndexMemory;
}

void Strays::Remove(Position position) {
  for (const Likeness likeness : {SameContent, SameMessage, SameMoment})
    IndexOf(position->From, likeness).erase(KeyOf(*position, likeness));
  Size -= position->Record.Memory() + kIndexMemory;
  Of(position->From).erase(position);
}

Side Strays::Oldest() const {
  if (Waiting[0].empty()) return Side::B;
  if (Waiting[1].empty()) return Side::A;
  return Waiting[1].front().Place < Waiting[0].front().Place ? Side::B : Side::A;
}

void Strays::SettleBefore(unsigned long place, const Settled& settled) {
  while (!Empty() && Of(Oldest()).front().Place < place) SettleOne(settled);
}

void Strays::SettleAll(const Settled& settled) {
  while (!Empty()) SettleOne(settled);
}

void Strays::SettleOne(const Settled& settled) {
  const Side side = Oldest();
  const Position position = Of(side).begin();
  const Position* const partner = PartnerOf(*position);
  const ComparedRecord* const record = &position->Record;
  const ComparedRecord* const other = partner == nullptr ? nullptr : &(*partner)->Record;
  settled({.A = side == Side::A ? record : other, .B = side == Side::A ? other : record});
  if (partner != nullptr) Remove(*partner);
  Remove(position);
}

/// Of the other recording; null without any. Of two that are equally near, the earlier one.
const Strays::Position* Strays::NearestTo(const Stray& stray, Likeness likeness) {
  const Index& index = IndexOf(Other(stray.From), likeness);
  const unsigned long mark = stray.Marks[likeness];
  const auto isAlike = [&](Index::const_iterator place) { return std::get<0>(place->first) == mark; };
  const auto after = index.lower_bound(Key{mark, stray.Place, 0});
  const Position* nearest = after != index.end() && isAlike(after) ? &after->second : nullptr;
  if (after == index.begin() || !isAlike(std::prev(after))) return nearest;
  // Of those at one place the first that came.
  const unsigned long place = std::get<1>(std::prev(after)->first);
  const auto before = index.lower_bound(Key{mark, place, 0});
  if (nearest != nullptr && Distance((*nearest)->Place, stray.Place) < Distance(place, stray.Place)) return nearest;
  return &before->second;
}

/// Null unless each is the nearest to the other.
const Strays::Position* Strays::MatchOf(const Stray& stray, Likeness likeness) {
  const Position* const nearest = NearestTo(stray, likeness);
  if (nearest == nullptr || Distance((*nearest)->Place, stray.Place) > Farthest[likeness]) return nullptr;
  return &**NearestTo(**nearest, likeness) == &stray ? nearest : nullptr;
}

/// Null where nothing is like it, or where what is like it has a match that is more so.
const Strays::Position* Strays::PartnerOf(const Stray& stray) {
  for (const Likeness likeness : {SameContent, SameMessage, SameMoment}) {
    const Position* const match = MatchOf(stray, likeness);
    if (match == nullptr) continue;
    bool taken = false;
    for (const Likeness closer : {SameContent, SameMessage})
      taken = taken || (closer < likeness && MatchOf(**match, closer) != nullptr);
    if (!taken) return match;
  }
  return nullptr;
}

}  // namespace client
