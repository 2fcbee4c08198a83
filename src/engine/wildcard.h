// Wildcard patterns for file names: "*" any run of characters (none included), "?" any one
// character, "#" one digit, "[a-c]" one character of the list, "[!a-c]" one character not in
// it. Every other character stands for itself; an unclosed "[" is an ordinary character.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

class Wildcard {
 public:
  // `ignoreCase`: letters are compared after case folding (Ä and ä alike).
  Wildcard(std::wstring_view pattern, bool ignoreCase);

  // Whether the whole of `name` matches.
  bool Matches(std::wstring_view name) const;
  // Whether the pattern uses any wildcard character at all.
  bool HasWildcards() const { return hasWildcards_; }

 private:
  enum class Kind { Literal, AnyOne, Digit, AnyRun, Class };
  struct Token {
    Kind kind = Kind::Literal;
    wchar_t c = 0;
    bool negated = false;
    std::vector<std::pair<wchar_t, wchar_t>> ranges;
  };
  bool TokenMatches(const Token& t, wchar_t c) const;

  std::vector<Token> tokens_;
  bool ignoreCase_;
  bool hasWildcards_ = false;
};

}  // namespace ablagix
