#include "profiles/filter_list.h"

#include "base/text.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"

namespace ablagix {
namespace {

std::wstring MaskKey(std::size_t position) { return std::to_wstring(position) + L"Mask"; }

std::wstring FilterFile(const SettingsFolders& folders) {
  return SettingPath(folders, kFilterListFileName);
}

}  // namespace

std::wstring ReadStoredFilterList(const SettingsFolders& folders) {
  return ReadSetting(folders, kFilterSection, L"Filter", L"", kFilterListFileName);
}

std::vector<std::wstring> StoredFilterNames(std::wstring_view filterList) {
  if (filterList.empty()) return {};
  return Split(filterList, L',');
}

std::vector<std::wstring> IncludeExtensionEntries(std::wstring_view filterList) {
  std::vector<std::wstring> entries = {Word(L"Alles")};
  for (std::wstring& name : StoredFilterNames(filterList)) entries.push_back(std::move(name));
  entries.push_back(Word(L"Bearbeiten..."));
  return entries;
}

std::wstring StoredFilterMask(const SettingsFolders& folders, std::size_t position) {
  return ReadSetting(folders, kFilterSection, MaskKey(position), L"", kFilterListFileName);
}

std::wstring StoredFilterMaskByName(const SettingsFolders& folders, std::wstring_view name) {
  for (const FilterRow& row : ReadFilterTable(folders)) {
    if (row.name == name) return row.mask;
  }
  return {};
}

std::vector<FilterRow> ReadFilterTable(const SettingsFolders& folders) {
  const IniFile ini = IniFile::Load(FilterFile(folders));
  std::vector<FilterRow> rows;
  for (std::wstring& name : StoredFilterNames(ini.GetString(kFilterSection, L"Filter", L""))) {
    rows.push_back({std::move(name), ini.GetString(kFilterSection, MaskKey(rows.size()), L"")});
  }
  return rows;
}

std::wstring FilterListText(const std::vector<FilterRow>& rows) {
  std::vector<std::wstring> names;
  for (const FilterRow& row : rows) {
    std::wstring name = row.name;
    std::erase(name, L',');
    names.push_back(std::move(name));
  }
  return Join(names, L",");
}

bool SaveFilterTable(const SettingsFolders& folders, const std::vector<FilterRow>& rows, FsStatus* status) {
  IniFile ini = IniFile::Load(FilterFile(folders));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ini.SetString(kFilterSection, MaskKey(i), rows[i].mask);
  }
  ini.SetString(kFilterSection, L"Filter", FilterListText(rows));
  return ini.Save(status);
}

}  // namespace ablagix
