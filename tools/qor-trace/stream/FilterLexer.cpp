#include "stream/FilterLexer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "stream/FilterError.h"
#include "system/Units.h"

namespace client {

namespace {

// Not those of the C library, which ask the locale.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
/// Those of other alphabets too: no word has them, but a mistaken one is shown whole.
bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Letters and digits at the front.
size_t RunLength(std::string_view text) {
  size_t length = 0;
  while (length < text.size() && (IsDigit(text[length]) || IsLetter(text[length]))) ++length;
  return length;
}

/// The whole text as a number of a base; nothing for another text or more than 64 bits.
std::optional<unsigned long> NumberOf(std::string_view text, int base) {
  unsigned long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

int TakeBase(std::string_view& text) {
  const std::string_view prefix = text.substr(0, 2);
  const int base = prefix == "0x" || prefix == "0X" ? 16 : prefix == "0b" || prefix == "0B" ? 2 : 10;
  if (base != 10) text.remove_prefix(2);
  return base;
}

bool AllDigits(std::string_view text, bool (*isDigit)(char)) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

std::string WhyNoNumber(std::string_view typed) {
  std::string_view digits = typed;
  const int base = TakeBase(digits);
  if (base == 10 && AllDigits(digits, IsHexDigit) && !AllDigits(digits, IsDigit))
    return fmt::format("\"{0}\" is no number; hexadecimal ones begin with 0x, as in 0x{0}", typed);
  const bool right = AllDigits(digits, base == 16 ? IsHexDigit : IsDigit) && (base != 2 || NumberOf(digits, 2));
  if (right && !NumberOf(digits, base)) return "No number here has more than 64 bits";
  return fmt::format("\"{}\" is no number; write 291, 0x123 or 0b100100011", typed);
}

constexpr size_t kMacLength = 17;  // letters

/// The separator is the same throughout, and nothing follows that would belong to it.
bool BeginsWithMac(std::string_view text) {
  if (text.size() < kMacLength || (text[2] != ':' && text[2] != '-')) return false;
  for (size_t at = 0; at < kMacLength; ++at) {
    if (at % 3 == 2 ? text[at] != text[2] : !IsHexDigit(text[at])) return false;
  }
  if (text.size() == kMacLength) return true;
  const char next = text[kMacLength];
  return next != text[2] && !IsDigit(next) && !IsLetter(next);
}

/// Letters of "10.0.0.1" or "10.0.0.0/8" at the front, well formed or not; 0 where there is no dot after a number.
size_t DottedLength(std::string_view text) {
  size_t end = RunLength(text);
  bool dotted = false;
  while (end + 1 < text.size() && text[end] == '.' && IsDigit(text[end + 1])) {
    end += 1 + RunLength(text.substr(end + 1));
    dotted = true;
  }
  if (!dotted) return 0;
  return end < text.size() && text[end] == '/' ? end + 1 + RunLength(text.substr(end + 1)) : end;
}

/// Letters of "200ms", "1h30m" or "0.5 s" at the front, well formed or not; 0 without a digit.
size_t DurationLength(std::string_view text) {
  if (text.empty() || !IsDigit(text.front())) return 0;
  const auto numberEnd = [&](size_t at) {
    while (at < text.size() && (IsDigit(text[at]) || text[at] == '.')) ++at;
    return at;
  };
  size_t end = numberEnd(0);
  size_t unit = end;
  while (unit < text.size() && IsSpace(text[unit])) ++unit;
  if (unit < text.size() && IsLetter(text[unit])) end = unit;
  while (end < text.size() && (IsDigit(text[end]) || IsLetter(text[end]) || text[end] == '.')) ++end;
  return end;
}

/// "10.0.0.1" -> 0x0A000001
std::optional<unsigned long> Ipv4Of(std::string_view text) {
  unsigned long address = 0;
  for (int part = 0; part < 4; ++part) {
    const size_t dot = part < 3 ? text.find('.') : text.size();
    if (dot == std::string_view::npos) return std::nullopt;
    const auto byte = NumberOf(text.substr(0, dot), 10);
    if (!byte || *byte > 255) return std::nullopt;
    address = address << 8 | *byte;
    text.remove_prefix(std::min(dot + 1, text.size()));
  }
  return address;
}

/// Letters of "02:00:00" at the front: pairs of hexadecimal digits, three at least. 0 without them.
size_t PairsLength(std::string_view text) {
  size_t length = 0;
  const auto pairAt = [&](size_t at) {
    return at + 2 <= text.size() && IsHexDigit(text[at]) && IsHexDigit(text[at + 1]);
  };
  while (pairAt(length) && length + 2 < text.size() && text[length + 2] == ':') length += 3;
  if (length < 6) return 0;
  return pairAt(length) ? length + 2 : length;
}

struct Sign {
  std::string_view Text;
  TokenKind Kind;
  std::string_view Instead = {};  // of a sign of other languages: what is written here
};

// Longer ones before those that they begin with.
constexpr Sign kSigns[] = {
    {"&&", TokenKind::And},         {"||", TokenKind::Or},          {"==", TokenKind::Equal},
    {"!=", TokenKind::NotEqual},    {"<=", TokenKind::LessOrEqual}, {">=", TokenKind::GreaterOrEqual},
    {"<>", TokenKind::End, "!="},   {"=>", TokenKind::End, ">="},   {"=<", TokenKind::End, "<="},
    {"..", TokenKind::Range},       {"<", TokenKind::Less},         {">", TokenKind::Greater},
    {"=", TokenKind::End, "=="},    {"!", TokenKind::Not},          {"&", TokenKind::Mask},
    {"|", TokenKind::End, "or"},    {",", TokenKind::Comma},        {":", TokenKind::Colon},
    {"(", TokenKind::Open},         {")", TokenKind::Close},        {"[", TokenKind::OpenBracket},
    {"]", TokenKind::CloseBracket}, {"{", TokenKind::End, "("},     {"}", TokenKind::End, ")"},
};

constexpr Sign kKeywords[] = {
    {"and", TokenKind::And}, {"or", TokenKind::Or}, {"not", TokenKind::Not}, {"in", TokenKind::In}};

bool IsKeyword(std::string_view word, std::string_view keyword) {
  return std::equal(word.begin(), word.end(), keyword.begin(), keyword.end(),
                    [](char typed, char letter) { return (typed | 0x20) == letter; });
}

}  // namespace

void FilterLexer::SkipSpace() {
  while (At < Expression.size() && IsSpace(Expression[At])) ++At;
}

Token FilterLexer::Next() {
  SkipSpace();
  const std::string_view rest = Rest();
  if (rest.empty()) return Take(TokenKind::End, 0);
  if (BeginsWithMac(rest)) return TakeMac();
  if (const size_t length = PairsLength(rest)) Refuse("A MAC address has six bytes, as in 02:00:00:00:00:01", length);
  if (IsLetter(rest.front())) return TakeWord();
  return IsDigit(rest.front()) ? TakeNumber() : TakeSign();
}

Token FilterLexer::NextDuration() {
  SkipSpace();
  const size_t length = DurationLength(Rest());
  if (length == 0) return Next();
  std::string typed(Rest().substr(0, length));
  std::erase_if(typed, IsSpace);
  const auto time = ParseDuration(typed);
  if (!time) return Take(TokenKind::Word, length);
  Token token = Take(TokenKind::Duration, length);
  token.First = token.Last = *time;
  return token;
}

Token FilterLexer::Take(TokenKind kind, size_t length) {
  const Token token{kind, Rest().substr(0, length), At};
  At += length;
  return token;
}

Token FilterLexer::TakeWord() {
  const size_t length = RunLength(Rest());
  for (const Sign& keyword : kKeywords) {
    if (IsKeyword(Rest().substr(0, length), keyword.Text)) return Take(keyword.Kind, length);
  }
  return Take(TokenKind::Word, length);
}

Token FilterLexer::TakeNumber() {
  if (const size_t length = DottedLength(Rest())) return TakeIpv4(length);
  const size_t length = RunLength(Rest());
  std::string_view digits = Rest().substr(0, length);
  if (length > 1 && digits.front() == '0' && AllDigits(digits, IsDigit))
    Refuse(fmt::format("\"{}\" can be read in two ways; write it without the zero in front, or as 0x{}", digits,
                       digits.substr(std::min(digits.find_first_not_of('0'), length - 1))),
           length);
  const int base = TakeBase(digits);
  const auto number = NumberOf(digits, base);
  if (!number) Refuse(WhyNoNumber(Rest().substr(0, length)), length);
  Token token = Take(TokenKind::Number, length);
  token.First = token.Last = *number;
  return token;
}

Token FilterLexer::TakeIpv4(size_t length) {
  const std::string_view text = Rest().substr(0, length);
  const size_t slash = text.find('/');
  const auto address = Ipv4Of(text.substr(0, slash));
  const auto bits = slash == std::string_view::npos ? 32 : NumberOf(text.substr(slash + 1), 10);
  if (!address || !bits || *bits > 32)
    Refuse(fmt::format("\"{}\" is no number or IP address; write 10.0.0.1, or 10.0.0.0/8 for a network", text), length);
  const unsigned long host = 0xFFFFFFFFul >> *bits;
  Token token = Take(TokenKind::Ipv4, length);
  token.First = *address & ~host;
  token.Last = *address | host;
  return token;
}

Token FilterLexer::TakeMac() {
  Token token = Take(TokenKind::Mac, kMacLength);
  for (size_t at = 0; at < kMacLength; at += 3)
    token.First = token.First << 8 | *NumberOf(token.Text.substr(at, 2), 16);
  token.Last = token.First;
  return token;
}

Token FilterLexer::TakeSign() {
  for (const Sign& sign : kSigns) {
    if (!Rest().starts_with(sign.Text)) continue;
    if (sign.Kind != TokenKind::End) return Take(sign.Kind, sign.Text.size());
    Refuse(fmt::format("{} is not part of the language; write {}", sign.Text, sign.Instead), sign.Text.size());
  }
  Refuse("This has no meaning in an expression", 1);
}

void FilterLexer::Refuse(const std::string& sentence, size_t length) const {
  throw FilterError(sentence, Expression, At, length);
}

}  // namespace client
