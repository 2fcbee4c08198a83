#include "engine/wildcard.h"

#include "base/text.h"

namespace ablagix {

Wildcard::Wildcard(std::wstring_view pattern, bool ignoreCase) : ignoreCase_(ignoreCase) {
  auto fold = [&](wchar_t c) { return ignoreCase ? FoldCase(c) : c; };
  for (size_t i = 0; i < pattern.size(); ++i) {
    const wchar_t c = pattern[i];
    Token t;
    t.kind = Kind::Literal;
    if (c == L'*') {
      // Runs of "*" mean the same as one and would only slow the matcher down.
      if (!tokens_.empty() && tokens_.back().kind == Kind::AnyRun) continue;
      t.kind = Kind::AnyRun;
    } else if (c == L'?') {
      t.kind = Kind::AnyOne;
    } else if (c == L'#') {
      t.kind = Kind::Digit;
    } else if (c == L'[' && pattern.find(L']', i + 1) != std::wstring_view::npos &&
               pattern.find(L']', i + 1) > i + 1) {
      size_t close = pattern.find(L']', i + 1);
      std::wstring_view list = pattern.substr(i + 1, close - i - 1);
      t.kind = Kind::Class;
      if (list.size() > 1 && list.front() == L'!') {
        t.negated = true;
        list.remove_prefix(1);
      }
      for (size_t k = 0; k < list.size(); ++k) {
        wchar_t from = fold(list[k]);
        wchar_t to = from;
        if (k + 2 < list.size() && list[k + 1] == L'-') {
          to = fold(list[k + 2]);
          k += 2;
        }
        if (to < from) std::swap(from, to);
        t.ranges.emplace_back(from, to);
      }
      i = close;
    } else {
      t.c = fold(c);
    }
    if (t.kind != Kind::Literal) hasWildcards_ = true;
    tokens_.push_back(std::move(t));
  }
}

bool Wildcard::TokenMatches(const Token& t, wchar_t c) const {
  switch (t.kind) {
    case Kind::Literal: return t.c == c;
    case Kind::AnyOne: return true;
    case Kind::Digit: return c >= L'0' && c <= L'9';
    case Kind::Class: {
      bool in = false;
      for (const auto& [from, to] : t.ranges) {
        if (c >= from && c <= to) {
          in = true;
          break;
        }
      }
      return in != t.negated;
    }
    case Kind::AnyRun: return false;
  }
  return false;
}

bool Wildcard::Matches(std::wstring_view name) const {
  // Greedy matching with one backtrack point per "*": linear in practice, never exponential.
  size_t p = 0, n = 0;
  size_t starToken = std::wstring::npos, starName = 0;
  while (n < name.size()) {
    const wchar_t c = ignoreCase_ ? FoldCase(name[n]) : name[n];
    if (p < tokens_.size() && tokens_[p].kind == Kind::AnyRun) {
      starToken = p++;
      starName = n;
    } else if (p < tokens_.size() && TokenMatches(tokens_[p], c)) {
      ++p;
      ++n;
    } else if (starToken != std::wstring::npos) {
      p = starToken + 1;
      n = ++starName;
    } else {
      return false;
    }
  }
  while (p < tokens_.size() && tokens_[p].kind == Kind::AnyRun) ++p;
  return p == tokens_.size();
}

}  // namespace ablagix
