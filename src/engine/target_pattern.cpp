#include "engine/target_pattern.h"

#include <algorithm>

#include "fileops/path_text.h"

namespace ablagix {
namespace {

// The folder names of a path, without the empty ones a doubled or trailing separator gives.
std::vector<std::wstring_view> NamesOf(std::wstring_view path) {
  std::vector<std::wstring_view> names;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= path.size(); ++i) {
    if (i < path.size() && !IsPathSeparator(path[i])) continue;
    // "." names the folder it is in; "D:\Fotos\.\%Jahr%" is "D:\Fotos\%Jahr%".
    if (i > start && path.substr(start, i - start) != L".") names.push_back(path.substr(start, i - start));
    start = i + 1;
  }
  return names;
}

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// The lengths a value of `shape` can have at the start of `text` ("Unbekannt" fits any token).
std::vector<std::size_t> ValueLengths(ValueShape shape, std::wstring_view text) {
  std::vector<std::size_t> lengths;
  if (text.starts_with(kUnknownValue)) lengths.push_back(kUnknownValue.size());
  auto digits = [&](std::size_t at) {
    std::size_t n = 0;
    while (at + n < text.size() && IsDigit(text[at + n])) ++n;
    return n;
  };
  auto fixed = [&](std::wstring_view form) {  // "9999_99": 9 a digit, anything else itself
    if (text.size() < form.size()) return;
    for (std::size_t i = 0; i < form.size(); ++i) {
      if (form[i] == L'9' ? !IsDigit(text[i]) : text[i] != form[i]) return;
    }
    lengths.push_back(form.size());
  };
  switch (shape) {
    case ValueShape::kYear: fixed(L"9999"); break;
    case ValueShape::kYearMonth: fixed(L"9999_99"); break;
    case ValueShape::kYearMonthDay: fixed(L"9999_99_99"); break;
    case ValueShape::kMegabytes:
    case ValueShape::kKilobytes: {
      const std::size_t n = digits(0);
      const std::wstring_view unit = shape == ValueShape::kMegabytes ? L"Mb" : L"Kb";
      if (n > 0 && text.substr(n).starts_with(unit)) lengths.push_back(n + unit.size());
      break;
    }
    case ValueShape::kAny:
      for (std::size_t n = 1; n <= text.size(); ++n) lengths.push_back(n);
      break;
  }
  return lengths;
}

}  // namespace

TargetFolderPattern::TargetFolderPattern(std::wstring_view ziel) {
  for (std::wstring_view name : NamesOf(ziel)) {
    Component component;
    std::size_t at = 0;
    while (at < name.size()) {
      const std::size_t open = name.find(L'%', at);
      const std::size_t close = open == std::wstring_view::npos ? open : name.find(L'%', open + 1);
      if (close == std::wstring_view::npos) {
        component.push_back({std::wstring(name.substr(at)), false, ValueShape::kAny});
        break;
      }
      if (open > at) component.push_back({std::wstring(name.substr(at, open - at)), false, ValueShape::kAny});
      component.push_back({{}, true, ShapeOfPathVariable(name.substr(open + 1, close - open - 1))});
      at = close + 1;
    }
    const bool variable = std::any_of(component.begin(), component.end(), [](const Piece& p) { return p.variable; });
    components_.push_back(std::move(component));
    if (variable && depth_ == 0) depth_ = components_.size();
  }
  if (depth_ == 0) depth_ = components_.size();
}

bool TargetFolderPattern::Matches(const Component& component, std::wstring_view name) {
  // Piece by piece, trying every length a variable's value can have.
  struct Step {
    std::size_t piece;
    std::size_t at;
  };
  std::vector<Step> open{{0, 0}};
  while (!open.empty()) {
    const Step step = open.back();
    open.pop_back();
    if (step.piece == component.size()) {
      if (step.at == name.size()) return true;
      continue;
    }
    const Piece& piece = component[step.piece];
    const std::wstring_view rest = name.substr(step.at);
    if (!piece.variable) {
      if (rest.size() < piece.text.size()) continue;
      bool same = true;
      for (std::size_t i = 0; i < piece.text.size() && same; ++i) same = SameNameChar(rest[i], piece.text[i]);
      if (same) open.push_back({step.piece + 1, step.at + piece.text.size()});
      continue;
    }
    for (std::size_t length : ValueLengths(piece.shape, rest)) open.push_back({step.piece + 1, step.at + length});
  }
  return false;
}

bool TargetFolderPattern::Covers(std::wstring_view folder) const {
  if (components_.empty()) return false;
  const std::vector<std::wstring_view> names = NamesOf(folder);
  if (names.size() < depth_) return false;
  const std::size_t compared = std::min(names.size(), components_.size());
  for (std::size_t i = 0; i < compared; ++i) {
    if (!Matches(components_[i], names[i])) return false;
  }
  return true;
}

}  // namespace ablagix
