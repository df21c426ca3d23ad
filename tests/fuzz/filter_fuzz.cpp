// Expressions: refused with a marked place inside them, or matched against any bytes; a record matches an expression exactly
// if it doesn't match the expression's negation. Conditions likewise: a filter is one that happens with what it matches, and
// what else they say ends.
#include "Input.h"
#include "stream/Filter.h"
#include "stream/FilterError.h"
#include "stream/StreamCondition.h"

namespace {

using client::Filter;
using client::FilterError;
using client::StreamCondition;
using fuzz::Require;

/// Characters of UTF-8 text.
size_t Columns(std::string_view text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void RequireLines(const FilterError& error, size_t columns) {
  const std::string lines = error.Lines(columns);
  const size_t end = lines.find('\n');
  Require(end != std::string::npos && lines.find('\n', end + 1) == std::string::npos, "there are two lines");
  const std::string marks = lines.substr(end + 1);
  Require(Columns(lines.substr(0, end)) <= columns && marks.size() <= columns, "they fit");
  const size_t first = marks.find_first_not_of(' ');
  Require(first >= 2 && first != std::string::npos, "there is a mark");
  Require(marks.find_first_not_of('^', first) == std::string::npos, "there is nothing but marks");
  Require(marks.size() <= Columns(lines.substr(0, end)) + 1, "the marks are below the expression, or one past its end");
}

void RequireRefusal(const FilterError& error, std::string_view expression) {
  const std::string_view sentence = error.what();
  Require(!sentence.empty(), "a refusal has a sentence");
  Require(error.Begin() <= expression.size(), "the place begins in the expression or at its end");
  Require(error.Length() <= expression.size() - error.Begin(), "the place ends in the expression");
  for (const size_t columns : {size_t{20}, size_t{21}, size_t{80}}) RequireLines(error, columns);
}

/// The expression made longer and deeper, which may be too much.
bool Matches(const std::string& expression, const RecordView& record, bool expected) {
  try {
    return Filter(expression).Matches(record);
  } catch (const FilterError&) {
    Require(
        expression.size() > client::kMostFilterLetters || std::count(expression.begin(), expression.end(), '(') > 100,
        "what is understood is understood in parentheses");
    return expected;
  }
}

void RequireHappenings(const std::string& expression, const RecordView& record, std::optional<bool> matches) {
  StreamCondition condition(expression);
  condition.NoteLosses({{1, client::LossCause::CaptureBufferFull, record.Timestamp(), record.Timestamp(), 1}});
  size_t moments = 0;
  for (unsigned long time = record.Timestamp();; time = ~0ul) {
    while (condition.NextMoment(time)) ++moments;
    const bool happens = condition.Take(record);
    Require(!matches || happens == *matches, "a filter happens with what it matches");
    if (time == ~0ul) break;
  }
  Require(moments <= expression.size() + 1, "each absence and each loss happens once");
  Require(!matches || moments == 0, "a filter needs a record");
}

}  // namespace

// The expression, a zero, the bytes of a record.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::uint8_t* const end = std::find(data, data + size, std::uint8_t{0});
  const std::string expression(data, end);
  test::Bytes bytes(std::min(end + 1, data + size), data + size);
  bytes.resize(std::max<size_t>(bytes.size(), RecordView::kHeader));
  const RecordView record(bytes.data(), static_cast<unsigned int>(bytes.size()));
  std::optional<bool> matched;
  try {
    const bool matches = Filter(expression).Matches(record);
    matched = matches;
    Require(Matches("(" + expression + ")", record, matches) == matches, "parentheses change nothing");
    Require(Matches("not (" + expression + ")", record, !matches) == !matches, "a negation is the opposite");
    Require(Matches("(" + expression + ") and not fd or (" + expression + ") and fd", record, matches) == matches,
            "parts of an expression are put together right");
  } catch (const FilterError& error) {
    RequireRefusal(error, expression);
  }
  try {
    RequireHappenings(expression, record, matched);
  } catch (const FilterError& error) {
    Require(!matched, "every filter is a condition");
    RequireRefusal(error, expression);
  }
  return 0;
}
