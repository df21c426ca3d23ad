// Records of a channel that have no equal where they stand, until it is known what became of them.
#pragma once

#include <array>
#include <functional>
#include <list>
#include <map>
#include <tuple>

#include "views/ComparedRecord.h"

namespace client {

/// A record that has found its place in the comparison: with the one of the other recording that it is held against, or with
/// none.
struct ComparedPair {
  const ComparedRecord* A = nullptr;  // null: only in B
  const ComparedRecord* B = nullptr;  // null: only in A
  bool InOrder = false;               // they stand at the same place
};

/// Finds pairs among records that have no equal where they stand: first records of the same content, in another order or at
/// another time; then those of the same message; then those of the same moment. Two records are a pair only if each is the
/// nearest to the other, so that a missing record doesn't shift all that follow.
///
/// Threads: one. Memory: Memory().
class Strays {
 public:
  using Settled = std::function<void(const ComparedPair&)>;

  /// How far apart two places may be of records that are a pair.
  struct Reach {
    unsigned long Content = 0;
    unsigned long Message = 0;
    unsigned long Moment = 0;
  };

  explicit Strays(const Reach& reach) : Farthest{reach.Content, reach.Message, reach.Moment} {}

  /// @param place  on an axis that both recordings share: a time, or a position
  void Add(Side side, ComparedRecord&& record, unsigned long place);
  /// Settles the records that stand before a place, in their order, and those that they are paired with.
  void SettleBefore(unsigned long place, const Settled& settled);
  void SettleAll(const Settled& settled);
  /// The oldest one.
  void SettleOne(const Settled& settled);

  [[nodiscard]] bool Empty() const { return Waiting[0].empty() && Waiting[1].empty(); }
  /// Bytes.
  [[nodiscard]] size_t Memory() const { return Size; }

 private:
  enum Likeness : unsigned char { SameContent, SameMessage, SameMoment };
  static constexpr size_t kLikenesses = 3;
  struct Stray {
    Stray(ComparedRecord&& record, Side side, unsigned long place, unsigned long number);

    ComparedRecord Record;
    Side From;
    unsigned long Place;
    unsigned long Number;                          // in the order in which they came
    std::array<unsigned long, kLikenesses> Marks;  // the same of records that are alike
  };
  using Position = std::list<Stray>::iterator;
  using Key = std::tuple<unsigned long, unsigned long, unsigned long>;  // mark, place, number
  using Index = std::map<Key, Position>;

  static Key KeyOf(const Stray& stray, Likeness likeness);
  std::list<Stray>& Of(Side side) { return Waiting[static_cast<size_t>(side)]; }
  Index& IndexOf(Side side, Likeness likeness) { return Indexes[static_cast<size_t>(side)][likeness]; }
  [[nodiscard]] Side Oldest() const;
  [[nodiscard]] const Position* NearestTo(const Stray& stray, Likeness likeness);
  [[nodiscard]] const Position* PartnerOf(const Stray& stray);
  [[nodiscard]] const Position* MatchOf(const Stray& stray, Likeness likeness);
  void Remove(Position position);

  const std::array<unsigned long, kLikenesses> Farthest;
  std::array<std::list<Stray>, 2> Waiting;                // by side, in the order in which they came
  std::array<std::array<Index, kLikenesses>, 2> Indexes;  // by side
  unsigned long Count = 0;                                // that ever came
  size_t Size = 0;                                        // bytes
};

}  // namespace client
