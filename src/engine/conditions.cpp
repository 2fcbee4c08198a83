#include "engine/conditions.h"

#include <algorithm>

#include "base/text.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

// Amounts beyond this are nonsense for dates and would only overflow the arithmetic.
constexpr std::uint64_t kMaxDateAmount = 100000000;

bool AcceptsEveryName(std::wstring_view pattern) {
  return pattern.empty() || pattern == L"*" || pattern == L"*.*" || EqualsNoCase(pattern, L"Alles");
}

// A stored filter is named by its list entry; typed lists begin with ".".
bool LooksTyped(std::wstring_view filter) {
  std::wstring_view t = Trim(filter);
  return t.empty() || t.front() == L'.' || t.front() == L'*' || t.find(L',') != std::wstring_view::npos;
}

}  // namespace

ExtensionList ParseExtensionList(std::wstring_view text) {
  ExtensionList list;
  std::wstring normalized(text);
  std::replace(normalized.begin(), normalized.end(), L';', L',');
  for (const auto& raw : Split(normalized, L',')) {
    std::wstring_view piece = Trim(raw);
    if (EqualsNoCase(piece, L"alles") || piece == L"*" || piece == L"*.*") {
      list.all = true;
      continue;
    }
    while (!piece.empty() && (piece.front() == L'*' || piece.front() == L'.' || piece.front() == L' ')) {
      piece.remove_prefix(1);
    }
    if (!piece.empty()) list.extensions.emplace_back(piece);
  }
  return list;
}

std::optional<SizeCondition> DecodeFileSize(std::wstring_view value) {
  value = Trim(value);
  if (value.size() < 4) return std::nullopt;
  const wchar_t comparator = value.front();
  if (comparator != L'<' && comparator != L'>') return std::nullopt;
  const std::wstring_view unit = value.substr(value.size() - 2);
  std::uint64_t factor = 1;
  if (EqualsNoCase(unit, L"KB")) factor = 1024;
  if (EqualsNoCase(unit, L"MB")) factor = 1024 * 1024;
  if (EqualsNoCase(unit, L"GB")) factor = 1024 * 1024 * 1024;

  // Whole part, then at most one decimal separator; German users type a comma, others a point.
  const std::wstring_view number = Trim(value.substr(1, value.size() - 3));
  const size_t separator = number.find_first_of(L",.");
  std::uint64_t whole = 0;
  if (!ParseWholeNumber(number.substr(0, separator), &whole)) return std::nullopt;
  std::uint64_t fractionDigits = 0;  // the first nine decimals as a whole number
  std::uint64_t scale = 1;
  bool beyondNine = false;
  if (separator != std::wstring_view::npos) {
    const std::wstring_view decimals = number.substr(separator + 1);
    if (decimals.empty()) return std::nullopt;
    for (wchar_t c : decimals) {
      if (c < L'0' || c > L'9') return std::nullopt;
      if (scale < 1000000000) {
        fractionDigits = fractionDigits * 10 + static_cast<std::uint64_t>(c - L'0');
        scale *= 10;
      } else if (c != L'0') {
        beyondNine = true;
      }
    }
  }
  SizeCondition size{comparator, 0, false};
  if (whole > UINT64_MAX / factor) {
    size.bytes = UINT64_MAX;
    return size;
  }
  // fractionDigits < 10^9 and factor <= 2^30: the product stays far below 2^64.
  const std::uint64_t fractionBytes = fractionDigits * factor;
  size.bytes = whole * factor + fractionBytes / scale;
  size.fraction = fractionBytes % scale != 0 || beyondNine;
  return size;
}

std::optional<DateCondition> DecodeFiledate(std::wstring_view value, const LocalDateTime& now) {
  value = Trim(value);
  if (value.size() < 5) return std::nullopt;
  DateCondition d{};
  const std::wstring_view kind = value.substr(0, 2);
  if (EqualsNoCase(kind, L"GA")) {
    d.creation = false;
  } else if (EqualsNoCase(kind, L"EA")) {
    d.creation = true;
  } else {
    return std::nullopt;
  }
  CalendarUnit unit;
  switch (FoldCase(value.back())) {
    case L'n': unit = CalendarUnit::Minute; break;
    case L'h': unit = CalendarUnit::Hour; break;
    case L'd': unit = CalendarUnit::Day; break;
    case L'w': unit = CalendarUnit::Week; break;
    case L'm': unit = CalendarUnit::Month; break;
    case L'y': unit = CalendarUnit::Year; break;
    default: return std::nullopt;
  }
  d.comparator = value[2];
  std::uint64_t amount = 0;
  if (!ParseWholeNumber(value.substr(3, value.size() - 4), &amount)) return std::nullopt;
  amount = std::min(amount, kMaxDateAmount);
  LocalDateTime reference = AddToDate(now, unit, -static_cast<std::int64_t>(amount));
  d.lower = reference;
  d.lower.second = 0;
  d.upper = reference;
  d.upper.second = 59;
  return d;
}

ConditionSet ConditionSet::Build(const Profile& profile, const ConditionContext& context,
                                 std::wstring* problem) {
  ConditionSet set;
  problem->clear();
  set.ignoreCase_ = !IsSwitchedOn(profile.Case);

  const std::wstring_view filter = Trim(profile.Filter);
  if (filter.empty() || EqualsNoCase(filter, L"Alles")) {
    set.include_.all = true;
  } else if (!LooksTyped(filter) && context.storedFilterMask) {
    set.include_ = ParseExtensionList(context.storedFilterMask(std::wstring(filter)));
  } else {
    set.include_ = ParseExtensionList(filter);
  }
  const std::wstring_view excluded = Trim(profile.Extension);
  if (!excluded.empty() && !EqualsNoCase(excluded, L"Nichts")) {
    set.exclude_ = ParseExtensionList(excluded);
  }

  if (!AcceptsEveryName(profile.Filename)) set.namePattern_.emplace(profile.Filename, set.ignoreCase_);
  for (const auto& raw : Split(profile.ExcludeFilename, L',')) {
    std::wstring_view piece = Trim(raw);
    if (piece.empty()) continue;
    // An excluded text must not occur anywhere in the name, with or without wildcards:
    // "IMG_????" keeps IMG_1234.jpg out just as "IMG_" does.
    set.excludedNames_.emplace_back(L"*" + std::wstring(piece) + L"*", set.ignoreCase_);
  }

  auto unreadable = [&](const wchar_t* key, const std::wstring& value) {
    *problem = L"Die Bedingung " + std::wstring(key) + L"=" + value +
               L" kann nicht gelesen werden; das Profil wird nicht ausgef\u00fchrt, damit es nicht "
               L"mehr Dateien erfasst als gewollt.";
  };
  if (!Trim(profile.FileSize).empty()) {
    set.size_ = DecodeFileSize(profile.FileSize);
    if (!set.size_) {
      unreadable(L"FileSize", profile.FileSize);
      return set;
    }
  }
  if (!Trim(profile.Filedate).empty()) {
    set.date_ = DecodeFiledate(profile.Filedate, context.now);
    if (!set.date_) {
      unreadable(L"Filedate", profile.Filedate);
      return set;
    }
  }

  if (!Trim(profile.Metadaten).empty()) {
    if (context.makeMetadataTest) set.metadata_ = context.makeMetadataTest(profile.Metadaten);
    if (!set.metadata_) {
      *problem = L"Die Bedingung \u201EEnth\u00e4lt Metadaten\u201C (" + profile.Metadaten +
                 L") kann hier nicht ausgewertet werden; das Profil wird nicht ausgef\u00fchrt.";
    }
  }
  if (!Trim(profile.TextSuche).empty()) {
    if (context.makeTextTest) set.text_ = context.makeTextTest(profile.TextSuche);
    if (!set.text_ && problem->empty()) {
      *problem = L"Die Bedingung \u201EDatei enth\u00e4lt Text\u201C (" + profile.TextSuche +
                 L") kann hier nicht ausgewertet werden; das Profil wird nicht ausgef\u00fchrt.";
    }
  }
  return set;
}

bool ConditionSet::ExtensionAccepted(std::wstring_view extension) const {
  auto same = [&](const std::wstring& listed) {
    return ignoreCase_ ? EqualsNoCase(listed, extension) : listed == extension;
  };
  if (!include_.all && std::none_of(include_.extensions.begin(), include_.extensions.end(), same)) {
    return false;
  }
  if (exclude_.all) return false;
  return std::none_of(exclude_.extensions.begin(), exclude_.extensions.end(), same);
}

bool ConditionSet::AcceptsName(std::wstring_view name, std::wstring_view extension) const {
  if (!ExtensionAccepted(extension)) return false;
  if (namePattern_ && !namePattern_->Matches(name)) return false;
  for (const auto& excluded : excludedNames_) {
    if (excluded.Matches(name)) return false;
  }
  return true;
}

bool ConditionSet::AcceptsDetails(const ScanEntry& file) const {
  if (size_ && !size_->Met(file.entry.size)) return false;
  if (date_) {
    const LocalDateTime t = FileTimeToLocal(date_->creation ? file.entry.creation : file.entry.lastWrite);
    const bool met = date_->comparator == L'<'   ? t < date_->lower
                     : date_->comparator == L'>' ? t > date_->upper
                                                 : false;
    if (!met) return false;
  }
  return true;
}

bool ConditionSet::AcceptsContent(const std::wstring& path, const DirEntry& entry) const {
  // A file whose data lies in the cloud or offline is not read for a content condition: the
  // reading would fetch it, and a run over such a folder would download everything.
  if (entry.dataOffline) return false;
  if (metadata_ && !metadata_->Accepts(path, entry)) return false;
  if (text_ && !text_->Accepts(path, entry)) return false;
  return true;
}

bool ConditionSet::Accepts(const ScanEntry& file) const {
  if (!AcceptsName(file.entry.name, file.extension) || !AcceptsDetails(file)) return false;
  // The full path is built only for the tests that open the file.
  return !NeedsContent() || AcceptsContent(JoinPath(file.folder, file.entry.name), file.entry);
}

}  // namespace ablagix
