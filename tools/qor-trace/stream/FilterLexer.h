// The words, numbers and signs of an expression.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace client {

enum class TokenKind : unsigned char {
  End,
  Word,
  Number,
  Mac,   // 02:00:00:00:00:01, also with dashes
  Ipv4,  // 10.0.0.1 or 10.0.0.0/8
  And,
  Or,
  Not,
  In,
  Equal,
  NotEqual,
  Less,
  LessOrEqual,
  Greater,
  GreaterOrEqual,
  Mask,   // &
  Range,  // ..
  Comma,
  Colon,  // of no meaning, but known for those who expect one
  Open,
  Close,
  OpenBracket,
  CloseBracket,
  Duration,  // 200ms; only where one is asked for
};

struct Token {
  TokenKind Kind = TokenKind::End;
  std::string_view Text = {};  // as typed; empty at the end
  size_t Begin = 0;            // in the expression
  unsigned long First = 0;     // number; of a range of addresses, its first one; of a duration ns
  unsigned long Last = 0;      // number; of a range of addresses, its last one
};

/// Takes an expression apart from its beginning.
class FilterLexer {
 public:
  /// @param expression  outlives this
  explicit FilterLexer(std::string_view expression) : Expression(expression) {}

  /// Kind End for ever after the last one.
  /// Failure: FilterError for what isn't part of the language.
  Token Next();
  /// The next one where a duration is expected: anything else than a duration comes as Next would give it, or as a word.
  Token NextDuration();

 private:
  void SkipSpace();
  [[nodiscard]] std::string_view Rest() const { return Expression.substr(At); }
  Token Take(TokenKind kind, size_t length);
  Token TakeWord();
  Token TakeNumber();
  Token TakeIpv4(size_t length);
  Token TakeMac();
  Token TakeSign();
  [[noreturn]] void Refuse(const std::string& sentence, size_t length) const;

  std::string_view Expression;
  size_t At = 0;
};

}  // namespace client
