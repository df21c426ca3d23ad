#include "stream/FilterTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "stream/FilterError.h"
#include "stream/FilterLexer.h"
#include "system/Suggestion.h"

namespace client {

namespace {

// ---- Texts ----------------------------------------------------------------------------------------------------------

/// "can, lin, flexray or ethernet"
std::string WordList(const FieldDescription& field) {
  std::string list;
  for (size_t index = 0; index < field.Words.size(); ++index) {
    if (index > 0) list += index + 1 == field.Words.size() ? " or " : ", ";
    list += field.Words[index].Text;
  }
  return list;
}

std::vector<std::string> WordsOf(const FieldDescription& field) {
  std::vector<std::string> words;
  words.reserve(field.Words.size());
  for (const FieldWord& word : field.Words) words.emplace_back(word.Text);
  return words;
}

/// "data[2..3]"
std::string NameOf(const FieldPlace& place) {
  const FieldDescription& field = Describe(place.Field);
  if (field.Type != FieldType::Bytes) return field.Name;
  return place.First == place.Last ? fmt::format("{}[{}]", field.Name, place.First)
                                   : fmt::format("{}[{}..{}]", field.Name, place.First, place.Last);
}

/// What the values of a field are: "one of rx or tx", "a number, such as 0x123".
std::string ValuesOf(const FieldDescription& field) {
  switch (field.Type) {
    case FieldType::Word:
      return WordList(field);
    case FieldType::Mac:
      return fmt::format("a MAC address, such as {}", field.Example);
    case FieldType::Ipv4:
      return fmt::format("an IP address or a network, such as {} or 10.0.0.0/8", field.Example);
    default:
      return fmt::format("a number, such as {}{}{}", field.Example, field.Words.empty() ? "" : ", or one of ",
                         WordList(field));
  }
}

std::string GreatestText(const FieldPlace& place) {
  const bool hex = place.Greatest() > 0xFFFF || Describe(place.Field).Type == FieldType::Bytes;
  return hex ? fmt::format("0x{:x}", place.Greatest()) : fmt::format("{}", place.Greatest());
}

bool SameWord(std::string_view typed, std::string_view known) {
  return std::equal(typed.begin(), typed.end(), known.begin(), known.end(), [](char letter, char lower) {
    return (letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter | 0x20) : letter) == lower;
  });
}

const FieldWord* WordNamed(const FieldDescription& field, std::string_view typed) {
  const auto same = [&](const FieldWord& word) { return SameWord(typed, word.Text); };
  const auto found = std::find_if(field.Words.begin(), field.Words.end(), same);
  return found == field.Words.end() ? nullptr : &*found;
}

/// Who types a value for a field, or nearly a field, is told what to type.
/// @param names  that may be meant
std::string FieldMeant(std::string_view typed, const std::vector<std::string>& names) {
  for (size_t index = 0; index < kRecordFieldCount; ++index) {
    const FieldDescription& field = Describe(static_cast<RecordField>(index));
    if (WordNamed(field, typed) != nullptr) return fmt::format("did you mean {} == {}?", field.Name, typed);
  }
  const auto nearest = Nearest(typed, names);
  return nearest ? fmt::format("did you mean {}?", *nearest) : "qor-trace-filter(7) lists them";
}

// ---- Parser ---------------------------------------------------------------------------------------------------------
//
//   any   = all { or all }
//   all   = part { and part }
//   part  = { not } ( "(" any ")" | moment | test )
//   moment = missing "(" any ")" for DURATION | loss       (of a condition, not of a filter, and not inside another one)
//   test  = field [ & mask ] [ relation value | [ not ] in list ]
//   field = NAME [ "[" NUMBER [ ".." NUMBER ] "]" ]
//   list  = item { "," item }, in parentheses or not
//   item  = value [ ".." value ]

enum class Language { Filter, Condition };

constexpr const char* kMissing = "missing";
constexpr const char* kLoss = "loss";

bool OnlyTests(const FilterTree& tree) {
  if (tree.Is == FilterTree::Kind::Missing || tree.Is == FilterTree::Kind::Loss) return false;
  return std::all_of(tree.Parts.begin(), tree.Parts.end(), OnlyTests);
}

bool IsLoss(const FilterTree& tree) { return tree.Is == FilterTree::Kind::Loss; }

class Parser {
 public:
  Parser(std::string_view expression, Language language) : Expression(expression), Spoken(language), Lexer(expression) {
    Advance();
  }

  FilterTree Whole() {
    if (Now.Kind == TokenKind::End)
      Refuse(Now, "The expression is empty; write one such as bus == can and id == 0x123");
    FilterTree tree = Any();
    if (Now.Kind == TokenKind::End) return tree;
    if (Now.Kind == TokenKind::Close) Refuse(Now, "This ) closes nothing");
    RefuseRest();
  }

 private:
  // Each takes its part of the grammar and leaves the token after it in Now.

  FilterTree Any() { return Joined(FilterTree::Kind::Any, TokenKind::Or, &Parser::All); }
  FilterTree All() {
    FilterTree tree = Joined(FilterTree::Kind::All, TokenKind::And, &Parser::Part);
    if (tree.Is == FilterTree::Kind::All) RefuseLossWithRecord(tree.Parts);
    return tree;
  }

  FilterTree Joined(FilterTree::Kind kind, TokenKind joint, FilterTree (Parser::*part)()) {
    FilterTree tree = (this->*part)();
    if (Now.Kind != joint) return tree;
    FilterTree joined{kind};
    joined.Parts.push_back(std::move(tree));
    while (Take(joint)) joined.Parts.push_back((this->*part)());
    return joined;
  }

  FilterTree Part() {
    bool inverted = false;
    while (Take(TokenKind::Not)) inverted = !inverted;
    FilterTree tree = Now.Kind == TokenKind::Open ? InParentheses() : Moment();
    if (!inverted) return tree;
    FilterTree negation{FilterTree::Kind::Not};
    negation.Parts.push_back(std::move(tree));
    return negation;
  }

  FilterTree InParentheses() {
    const Token open = Now;
    if (++Depth > kMostFilterDepth)
      Refuse(open,
             fmt::format("More than {} parentheses are open here; write the expression with fewer", kMostFilterDepth));
    Advance();
    FilterTree tree = Any();
    if (Now.Kind == TokenKind::End) Refuse(open, "This ( is never closed");
    if (InsideMissing && Now.Kind == TokenKind::Comma)
      Refuse(Now, "The time comes after the parenthesis, as in missing(id == 0x123) for 200ms");
    if (!Take(TokenKind::Close)) RefuseRest();
    TestIsBare = false;
    --Depth;
    return tree;
  }

  /// What only a condition can say, or a test.
  FilterTree Moment() {
    const bool missing = Now.Kind == TokenKind::Word && SameWord(Now.Text, kMissing);
    const bool loss = Now.Kind == TokenKind::Word && SameWord(Now.Text, kLoss);
    if (!missing && !loss) return FilterTree{FilterTree::Kind::Test, Test()};
    if (Spoken == Language::Filter)
      Refuse(Now, fmt::format("{} is for --start-on, --stop-on and --trigger; a filter looks at one entry by itself",
                              Now.Text));
    if (InsideMissing)
      Refuse(Now, "What is missing is described by fields alone, as in missing(id == 0x123) for 200ms");
    TestIsBare = false;
    if (missing) return Missing();
    LastLoss = Now;
    Advance();
    return FilterTree{FilterTree::Kind::Loss};
  }

  FilterTree Missing() {
    const Token word = Now;
    Advance();
    if (Now.Kind != TokenKind::Open)
      Refuse(word, "missing needs an expression in parentheses and a time, as in missing(id == 0x123) for 200ms");
    FilterTree tree{FilterTree::Kind::Missing};
    InsideMissing = true;
    tree.Parts.push_back(InParentheses());
    InsideMissing = false;
    tree.Duration = Duration();
    return tree;
  }

  unsigned long Duration() {
    if (Now.Kind != TokenKind::Word || !SameWord(Now.Text, "for"))
      Refuse(Now, "\"for\" and a time are expected here, as in missing(id == 0x123) for 200ms");
    Now = Lexer.NextDuration();
    if (Now.Kind != TokenKind::Duration) Refuse(Now, "A time is expected here, such as 200ms, 5s or 1m30s");
    if (Now.First == 0) Refuse(Now, "Nothing is missing for a time of 0; write one such as 200ms");
    const unsigned long duration = Now.First;
    Advance();
    return duration;
  }

  void RefuseLossWithRecord(const std::vector<FilterTree>& parts) const {
    if (std::any_of(parts.begin(), parts.end(), IsLoss) && std::any_of(parts.begin(), parts.end(), OnlyTests))
      Refuse(LastLoss, "A loss lies between two entries, so it never holds together with fields of one; overrun does");
  }

  FieldTest Test() {
    FieldTest test{Field()};
    const bool masked = Take(TokenKind::Mask);
    if (masked) test.Mask = Mask(test.Place);
    TestIsBare = false;
    if (IsRelation(Now.Kind)) {
      Relation(test);
    } else if (Now.Kind == TokenKind::In || Now.Kind == TokenKind::Not) {
      List(test);
    } else {  // a record has the field; with a mask, one of the bits
      test.Ranges = {{masked ? 1ul : 0ul, ~0ul}};
      TestIsBare = !masked;
      LastPlace = test.Place;
    }
    return test;
  }

  FieldPlace Field() {
    const Token name = Now;
    if (name.Kind != TokenKind::Word) Refuse(name, "A field is expected here, as in id == 0x123");
    const auto field = FieldNamed(name.Text);
    if (!field) Refuse(name, fmt::format("There is no field \"{}\"; {}", name.Text, FieldMeant(name.Text, Names())));
    Advance();
    FieldPlace place{*field};
    const bool bytes = Describe(*field).Type == FieldType::Bytes;
    if (!bytes && Now.Kind == TokenKind::OpenBracket)
      Refuse(Now, fmt::format("{} has no bytes; only data has, as in data[0]", name.Text));
    if (bytes) Brackets(name, place);
    return place;
  }

  [[nodiscard]] std::vector<std::string> Names() const {
    std::vector<std::string> names = FieldNames();
    if (Spoken == Language::Condition) names.insert(names.end(), {kMissing, kLoss});
    return names;
  }

  void Brackets(const Token& name, FieldPlace& place) {
    if (!Take(TokenKind::OpenBracket)) Refuse(name, "data needs the place of a byte, as in data[0] or data[2..3]");
    const Token first = Now;
    place.First = place.Last = BytePlace();
    if (Now.Kind == TokenKind::Colon) Refuse(Now, "Bytes are named by the first and the last one, as in data[2..3]");
    if (Take(TokenKind::Range)) place.Last = BytePlace();
    if (place.ByteCount() > FieldPlace::kMostBytes)
      Refuse(first, fmt::format("{} bytes are too many for a number; {} is the most", place.ByteCount(),
                                FieldPlace::kMostBytes));
    if (!Take(TokenKind::CloseBracket)) Refuse(Now, "A ] is expected here");
  }

  unsigned short BytePlace() {
    if (Now.Kind != TokenKind::Number) Refuse(Now, "The place of a byte is expected here, counted from 0");
    if (Now.First > 0xFFFF) Refuse(Now, "No frame has that many bytes; the last place is 65535");
    const auto place = static_cast<unsigned short>(Now.First);
    Advance();
    return place;
  }

  static bool IsRelation(TokenKind kind) { return kind >= TokenKind::Equal && kind <= TokenKind::GreaterOrEqual; }
  /// A field whose values have no order and no bits.
  static bool IsWord(const FieldPlace& place) { return Describe(place.Field).Type == FieldType::Word; }

  unsigned long Mask(const FieldPlace& place) {
    RefuseIfFlag(place);
    if (IsWord(place)) Refuse(Now, fmt::format("{} has no bits; compare it with == or !=", NameOf(place)));
    const Token token = Now;
    const NumberRange mask = Value(place);
    if (mask.First != mask.Last) Refuse(token, "A mask is one number");
    if (mask.First == 0) Refuse(token, "This mask has no bits");
    return mask.First;
  }

  /// A token between the tests: the last field was a flag, which is there or not.
  void RefuseIfFlag(const FieldPlace& place) {
    if (Describe(place.Field).Type != FieldType::Flag) return;
    Refuse(Now, fmt::format("{0} is a flag; write {0} or not {0}", NameOf(place)));
  }

  void Relation(FieldTest& test) {
    RefuseIfFlag(test.Place);
    const Token sign = Now;
    const bool ordered = sign.Kind != TokenKind::Equal && sign.Kind != TokenKind::NotEqual;
    if (ordered && IsWord(test.Place))
      Refuse(sign, fmt::format("{} has no order; compare it with == or !=", NameOf(test.Place)));
    Advance();
    const Token token = Now;
    const NumberRange value = Value(test.Place);
    if (!ordered) {
      Add(test, value, token);
      test.Inverted = sign.Kind == TokenKind::NotEqual;
    } else {
      test.Ranges = {Ordered(sign.Kind, value, test.Place, token)};
    }
  }

  NumberRange Ordered(TokenKind sign, NumberRange value, const FieldPlace& place, const Token& token) {
    if (sign == TokenKind::LessOrEqual) return {0, value.Last};
    if (sign == TokenKind::GreaterOrEqual) return {value.First, ~0ul};
    if (sign == TokenKind::Less && value.First == 0) Refuse(token, fmt::format("{} is never below 0", NameOf(place)));
    if (sign == TokenKind::Greater && value.Last == place.Greatest())
      Refuse(token, fmt::format("{} is never above {}", NameOf(place), GreatestText(place)));
    return sign == TokenKind::Less ? NumberRange{0, value.First - 1} : NumberRange{value.Last + 1, ~0ul};
  }

  void List(FieldTest& test) {
    RefuseIfFlag(test.Place);
    test.Inverted = Take(TokenKind::Not);
    if (!Take(TokenKind::In)) Refuse(Now, "in is expected here, as in id not in 0x100..0x1ff");
    const Token open = Now;
    const bool enclosed = Take(TokenKind::Open);
    do Item(test);
    while (Take(TokenKind::Comma));
    if (enclosed && Now.Kind == TokenKind::End) Refuse(open, "This ( is never closed");
    if (enclosed && !Take(TokenKind::Close)) Refuse(Now, "A comma or ) is expected here");
  }

  void Item(FieldTest& test) {
    const Token token = Now;
    const NumberRange first = Value(test.Place);
    if (Now.Kind != TokenKind::Range) return Add(test, first, token);
    if (IsWord(test.Place)) Refuse(Now, fmt::format("{} has no order, and no ranges", NameOf(test.Place)));
    Advance();
    const NumberRange last = Value(test.Place);
    if (last.Last < first.First) Refuse(token, "This range ends before it begins");
    test.Ranges.push_back({first.First, last.Last});
  }

  /// A word selects its bits, a number is one of the values.
  void Add(FieldTest& test, NumberRange value, const Token& token) {
    if (!IsWord(test.Place)) {
      if (value.First == value.Last && (value.First & ~test.Mask) != 0)
        Refuse(token, fmt::format("This has bits that the mask 0x{:x} hasn't, so it is never equal", test.Mask));
      test.Ranges.push_back(value);
      return;
    }
    if (test.Ranges.empty()) test.Mask = 0;
    test.Mask |= value.First;
    test.Ranges = {{1, ~0ul}};
  }

  NumberRange Value(const FieldPlace& place) {
    const FieldDescription& field = Describe(place.Field);
    const NumberRange value = Now.Kind == TokenKind::Word ? NamedValue(place) : NumberRange{Now.First, Now.Last};
    if (Now.Kind != TokenKind::Word && Now.Kind != KindOfValues(field.Type)) RefuseValue(place);
    if (value.Last > place.Greatest()) Refuse(Now, fmt::format("{} is at most {}", NameOf(place), GreatestText(place)));
    Advance();
    return value;
  }

  NumberRange NamedValue(const FieldPlace& place) {
    const FieldWord* word = WordNamed(Describe(place.Field), Now.Text);
    if (word == nullptr) RefuseValue(place);
    return {word->Value, word->Value};
  }

  static TokenKind KindOfValues(FieldType type) {
    switch (type) {
      case FieldType::Number:
      case FieldType::Bytes:
        return TokenKind::Number;
      case FieldType::Mac:
        return TokenKind::Mac;
      case FieldType::Ipv4:
        return TokenKind::Ipv4;
      default:
        return TokenKind::Word;
    }
  }

  /// Now is no value of the field.
  [[noreturn]] void RefuseValue(const FieldPlace& place) {
    const FieldDescription& field = Describe(place.Field);
    if (Now.Kind == TokenKind::Word) {
      if (const auto nearest = Nearest(Now.Text, WordsOf(field)))
        Refuse(Now, fmt::format("There is no {} \"{}\"; did you mean {}?", field.Name, Now.Text, *nearest));
      const bool hex = Now.Text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
      if (hex && KindOfValues(field.Type) == TokenKind::Number)
        Refuse(Now, fmt::format("\"{0}\" is no number; hexadecimal ones begin with 0x, as in 0x{0}", Now.Text));
    }
    Refuse(Now, fmt::format("{} is {}", NameOf(place), ValuesOf(field)));
  }

  /// Now can't follow what was read.
  [[noreturn]] void RefuseRest() {
    if (TestIsBare && Describe(LastPlace.Field).Type != FieldType::Flag)
      Refuse(Now, fmt::format("An operator such as == or in is expected after {}", NameOf(LastPlace)));
    Refuse(Now, "\"and\", \"or\" or the end is expected here");
  }

  bool Take(TokenKind kind) {
    if (Now.Kind != kind) return false;
    Advance();
    return true;
  }
  void Advance() { Now = Lexer.Next(); }

  [[noreturn]] void Refuse(const Token& token, const std::string& sentence) const {
    throw FilterError(sentence, Expression, token.Begin, token.Text.size());
  }

  const std::string_view Expression;
  const Language Spoken;
  FilterLexer Lexer;
  Token Now;  // the first one that isn't taken yet
  size_t Depth = 0;
  bool InsideMissing = false;
  Token LastLoss;
  bool TestIsBare = false;  // the last test was a field by itself
  FieldPlace LastPlace;     // of the last test, if that was bare
};

}  // namespace

namespace {

FilterTree Parse(std::string_view expression, Language language) {
  if (expression.size() > kMostFilterLetters)
    throw FilterError(fmt::format("The expression is too long; {} letters are the most", kMostFilterLetters),
                      expression, kMostFilterLetters, 1);
  return Parser(expression, language).Whole();
}

}  // namespace

FilterTree ParseFilter(std::string_view expression) { return Parse(expression, Language::Filter); }

FilterTree ParseCondition(std::string_view expression) { return Parse(expression, Language::Condition); }

}  // namespace client
