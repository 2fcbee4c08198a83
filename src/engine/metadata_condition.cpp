#include "engine/metadata_condition.h"

#include <array>
#include <optional>

#include "base/text.h"
#include "engine/wildcard.h"
#include "fileops/path_text.h"
#include "metadata/radius.h"

namespace ablagix {
namespace {

constexpr std::array<std::wstring_view, 4> kDateFields = {L"%Datum%", L"%Datum Original%",
                                                           L"%Datum Digitalisierung%", L"%L\u00e4nge%"};
constexpr std::array<std::wstring_view, 15> kNumberFields = {
    L"%Umkreissuche%", L"%Breitengrad%",   L"%L\u00e4ngengrad%", L"%Jahr%",          L"%Track%",
    L"%Seitenzahl%",   L"%Wortanzahl%",    L"%Zeichenanzahl%",   L"%H\u00f6he%",     L"%Breite%",
    L"%Iso%",          L"%Revision Nummer%", L"%X-Aufl\u00f6sung%", L"%Y-Aufl\u00f6sung%", L"%Blende%"};

template <std::size_t N>
bool OneOf(const std::array<std::wstring_view, N>& names, std::wstring_view name) {
  for (std::wstring_view known : names) {
    if (known == name) return true;
  }
  return false;
}

// -1, 0 or 1 as `a` is below, equal to or above `b`, held against the operator.
bool Holds(wchar_t op, int order) {
  return op == L'<' ? order < 0 : op == L'>' ? order > 0 : order == 0;
}

// Seconds since year 0 of "dd.mm.yyyy", "dd.mm.yyyy hh:nn[:ss]", "yyyy.mm.dd" or a time
// "hh:nn[:ss]" alone; nullopt for anything else.
std::optional<std::int64_t> ReadMoment(std::wstring_view text) {
  text = Trim(text);
  std::wstring_view date = text;
  std::wstring_view time;
  if (const std::size_t blank = text.find(L' '); blank != std::wstring_view::npos) {
    date = text.substr(0, blank);
    time = Trim(text.substr(blank + 1));
  } else if (text.find(L':') != std::wstring_view::npos) {
    date = {};
    time = text;
  }
  std::int64_t days = 0;
  if (!date.empty()) {
    const std::vector<std::wstring> parts = Split(date, L'.');
    std::array<std::uint64_t, 3> n{};
    if (parts.size() != 3) return std::nullopt;
    for (std::size_t i = 0; i < 3; ++i) {
      if (!ParseWholeNumber(parts[i], &n[i])) return std::nullopt;
    }
    const bool yearFirst = parts[0].size() == 4;
    const std::uint64_t year = yearFirst ? n[0] : n[2];
    const std::uint64_t month = n[1];
    const std::uint64_t day = yearFirst ? n[2] : n[0];
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
        day > static_cast<std::uint64_t>(DaysInMonth(static_cast<int>(year), static_cast<int>(month)))) {
      return std::nullopt;
    }
    // Days by a count that only has to keep the order.
    days = static_cast<std::int64_t>(year) * 372 + static_cast<std::int64_t>(month) * 31 + static_cast<std::int64_t>(day);
  }
  std::int64_t seconds = 0;
  if (!time.empty()) {
    const std::vector<std::wstring> parts = Split(time, L':');
    if (parts.size() < 2 || parts.size() > 3) return std::nullopt;
    std::array<std::uint64_t, 3> n{};
    for (std::size_t i = 0; i < parts.size(); ++i) {
      if (!ParseWholeNumber(parts[i], &n[i])) return std::nullopt;
    }
    if (n[1] > 59 || n[2] > 59) return std::nullopt;
    seconds = static_cast<std::int64_t>(n[0] * 3600 + n[1] * 60 + n[2]);
  }
  return days * 86400 + seconds;
}

bool CompareDates(std::wstring_view value, std::wstring_view variable, wchar_t op, std::wstring_view operand) {
  std::wstring v(value);
  for (auto& c : v) {
    if (c == L'_') c = L':';
  }
  const bool length = variable == L"%L\u00e4nge%";
  if (!length && operand.size() == 4) {
    // A year against the value's year.
    std::uint64_t wanted = 0;
    const auto moment = ReadMoment(v);
    if (!moment || !ParseWholeNumber(operand, &wanted)) return false;
    const std::int64_t year = (*moment / 86400) / 372;
    const auto target = static_cast<std::int64_t>(wanted);
    return Holds(op, year < target ? -1 : year > target ? 1 : 0);
  }
  std::wstring wanted(operand);
  if (!length && operand.size() == 7 && operand.find(L'.') != std::wstring_view::npos) {
    // "07.2019": the value's month against that month.
    wanted = L"01." + wanted;
    const std::size_t firstDot = v.find(L'.');
    if (firstDot == std::wstring::npos) return false;
    v = L"01" + v.substr(firstDot);
    if (const std::size_t blank = v.find(L' '); blank != std::wstring::npos) v.resize(blank);
  }
  const auto a = ReadMoment(v);
  const auto b = ReadMoment(wanted);
  if (!a || !b) return false;
  return Holds(op, *a < *b ? -1 : *a > *b ? 1 : 0);
}

bool CompareNumbers(std::wstring_view value, wchar_t op, std::wstring_view operand) {
  std::wstring wanted(operand);
  for (auto& c : wanted) {
    if (c == L'.') c = L',';
  }
  const auto a = ParseDecimalComma(value);
  const auto b = ParseDecimalComma(wanted);
  if (!a || !b) return false;
  // Both sides as singles, as the program has always compared them.
  const auto x = static_cast<float>(*a);
  const auto y = static_cast<float>(*b);
  return Holds(op, x < y ? -1 : x > y ? 1 : 0);
}

class MetadataConditionTest : public FileContentTest {
 public:
  MetadataConditionTest(std::wstring variable, std::wstring condition, bool caseSensitive, MetadataSource* metadata,
                        LocalDateTime today)
      : variable_(std::move(variable)),
        name_(variable_.substr(1, variable_.size() - 2)),
        condition_(std::move(condition)),
        caseSensitive_(caseSensitive),
        context_{today, metadata} {}

  bool Accepts(const std::wstring& path, const DirEntry& entry) override {
    // Conditions see the values in their plain form: dates as "dd.mm.yyyy".
    const FileFacts facts{path, entry.size, entry.lastWrite, entry.creation};
    const std::wstring value = ResolvePathVariable(name_, facts, context_, false);
    return CompareMetadataCondition(value, variable_, condition_, caseSensitive_);
  }

 private:
  std::wstring variable_;
  std::wstring name_;
  std::wstring condition_;
  bool caseSensitive_;
  PathVariableContext context_;
};

}  // namespace

bool CompareMetadataCondition(std::wstring_view value, std::wstring_view variable, std::wstring_view condition,
                              bool caseSensitive) {
  condition = Trim(condition);
  wchar_t op = L'=';
  std::wstring_view operand = condition;
  if (!condition.empty() && (condition.front() == L'=' || condition.front() == L'<' || condition.front() == L'>')) {
    op = condition.front();
    operand = Trim(condition.substr(1));
  }
  // "%Datum*yyyy%" is still a date field.
  std::wstring bare(variable.substr(0, variable.find(L'*')));
  if (!bare.ends_with(L'%')) bare += L'%';
  if (OneOf(kDateFields, bare)) return CompareDates(value, bare, op, operand);
  if (OneOf(kNumberFields, bare)) return CompareNumbers(value, op, operand);
  return Wildcard(operand, !caseSensitive).Matches(value);
}

std::unique_ptr<FileContentTest> MakeMetadataConditionTest(std::wstring_view metadaten, bool caseSensitive,
                                                           MetadataSource* metadata, LocalDateTime today) {
  const std::size_t semicolon = metadaten.find(L';');
  const std::wstring_view variable = Trim(metadaten.substr(0, semicolon));
  if (variable.size() < 3 || variable.front() != L'%' || variable.back() != L'%' || !metadata) return nullptr;
  const std::wstring_view condition = semicolon == std::wstring_view::npos ? L"" : metadaten.substr(semicolon + 1);
  return std::make_unique<MetadataConditionTest>(std::wstring(variable), std::wstring(condition), caseSensitive,
                                                 metadata, today);
}

}  // namespace ablagix
