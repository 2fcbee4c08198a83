// The means by which the GUI tests drive the real Ablagix window from another process.
#include "gui_driver.h"

#include <zlib.h>

#include <cstdio>
#include <cstring>

namespace gui {


int g_failures = 0;
HWND g_main = nullptr;
HANDLE g_process = nullptr;
std::wstring g_work;

std::string Utf8(const std::wstring& text) {
  int n = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
  return out;
}
std::wstring Wide(const std::string& text) {
  int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), out.data(), n);
  return out;
}

void Check(bool ok, const std::wstring& what) {
  std::printf("%s %s\n", ok ? "ok  " : "FAIL", Utf8(what).c_str());
  if (!ok) ++g_failures;
}
void CheckEq(const std::wstring& actual, const std::wstring& expected, const std::wstring& what) {
  Check(actual == expected, what + L": \"" + actual + L"\" (erwartet \"" + expected + L"\")");
}

// Linux paths from CTest become Wine's Z: drive.
std::wstring WindowsPath(std::wstring path) {
  if (!path.empty() && path[0] == L'/') path = L"Z:" + path;
  for (auto& c : path) {
    if (c == L'/') c = L'\\';
  }
  return path;
}

void WriteFileText(const std::wstring& path, const std::wstring& text) {
  std::string bytes = "\xEF\xBB\xBF" + Utf8(text);
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

void WriteFileBytes(const std::wstring& path, const std::string& bytes) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

std::wstring ReadFileText(const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  std::string bytes;
  char buffer[4096];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0) bytes.append(buffer, got);
  CloseHandle(file);
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xFE) {
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data() + 2), (bytes.size() - 2) / 2);
  }
  // The program's reports are UTF-16LE without a byte-order mark.
  if (bytes.size() >= 2 && bytes[0] != 0 && bytes[1] == 0) {
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
  }
  if (bytes.rfind("\xEF\xBB\xBF", 0) == 0) bytes.erase(0, 3);
  return Wide(bytes);
}

// The text of one INI section, "" when it is missing.
std::wstring Section(const std::wstring& file, const std::wstring& name) {
  std::wstring text = ReadFileText(file);
  size_t start = text.find(L"[" + name + L"]");
  if (start == std::wstring::npos) return {};
  size_t end = text.find(L"\n[", start + 1);
  return text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
}
bool Has(const std::wstring& text, const std::wstring& part) { return text.find(part) != std::wstring::npos; }

namespace {
struct Finder {
  int id;
  HWND found;
};
BOOL CALLBACK FindChild(HWND window, LPARAM data) {
  auto* finder = reinterpret_cast<Finder*>(data);
  if (GetDlgCtrlID(window) == finder->id && GetWindowLongPtrW(window, GWL_STYLE) & WS_CHILD) {
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    if (lstrcmpiW(name, L"AblagixPage") != 0) {
      finder->found = window;
      return FALSE;
    }
  }
  return TRUE;
}
}  // namespace

HWND Control(int id) {
  Finder finder{id, nullptr};
  EnumChildWindows(g_main, FindChild, reinterpret_cast<LPARAM>(&finder));
  return finder.found;
}

std::wstring Text(int id) {
  HWND window = Control(id);
  wchar_t buffer[2048] = {};
  SendMessageW(window, WM_GETTEXT, 2048, reinterpret_cast<LPARAM>(buffer));
  return buffer;
}
void SetTextOf(int id, const std::wstring& text) {
  SendMessageW(Control(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}
bool IsOn(int id) { return SendMessageW(Control(id), BM_GETCHECK, 0, 0) == BST_CHECKED; }
// A click as the button reports it to its window.
void Click(int id) {
  HWND button = Control(id);
  SendMessageW(GetParent(button), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(button));
}
int Rows() { return static_cast<int>(SendMessageW(Control(kIdProfileList), LVM_GETITEMCOUNT, 0, 0)); }

// List view messages carry pointers, so the item goes into the program's own memory.
void SetItemState(int row, UINT state, UINT mask, int list) {
  LVITEMW item{};
  item.stateMask = mask;
  item.state = state;
  void* remote = VirtualAllocEx(g_process, nullptr, sizeof item, MEM_COMMIT, PAGE_READWRITE);
  WriteProcessMemory(g_process, remote, &item, sizeof item, nullptr);
  SendMessageW(Control(list), LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(remote));
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
}
void SelectRow(int row, int list) {
  SetItemState(-1, 0, LVIS_SELECTED, list);
  SetItemState(row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED, list);
}
// The text of one cell of a list in the program (owner-data lists answer this too).
std::wstring ListText(int id, int row, int column) {
  struct Remote {
    LVITEMW item;
    wchar_t text[512];
  };
  auto* remote = static_cast<Remote*>(VirtualAllocEx(g_process, nullptr, sizeof(Remote), MEM_COMMIT, PAGE_READWRITE));
  LVITEMW item{};
  item.iSubItem = column;
  item.cchTextMax = 512;
  item.pszText = remote->text;
  WriteProcessMemory(g_process, &remote->item, &item, sizeof item, nullptr);
  SendMessageW(Control(id), LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&remote->item));
  wchar_t text[512] = {};
  ReadProcessMemory(g_process, remote->text, text, sizeof text - sizeof(wchar_t), nullptr);
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
  return text;
}
int LogRows() { return static_cast<int>(SendMessageW(Control(kIdExListviewLOG), LVM_GETITEMCOUNT, 0, 0)); }

void CheckRow(int row, bool on) {
  SetItemState(row, INDEXTOSTATEIMAGEMASK(on ? 2 : 1), LVIS_STATEIMAGEMASK, kIdProfileList);
}

bool CopyData(unsigned long kind, const std::wstring& text) {
  COPYDATASTRUCT data{kind, static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)),
                      const_cast<wchar_t*>(text.c_str())};
  return SendMessageW(g_main, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data)) != 0;
}
bool SelectTab(int page) { return CopyData(kCopyDataSelectTab, std::to_wstring(page)); }
void Screenshot(const std::wstring& name) {
  std::wstring path = g_work + L"\\screenshots\\" + name;
  Check(CopyData(kCopyDataScreenshot, path), L"Bildschirmfoto " + name);
}

std::wstring Answers() { return g_work + L"\\answers.txt"; }
std::wstring Record() { return g_work + L"\\record.txt"; }
void Answer(const std::wstring& lines) { WriteFileText(Answers(), lines); }
// What the program asked since the last call.
std::wstring TakeRecord() {
  std::wstring text = ReadFileText(Record());
  DeleteFileW(Record().c_str());
  return text;
}

PROCESS_INFORMATION g_started{};

// Starts Ablagix.exe with the scripted dialogs and waits for its main window.
bool Launch(const std::wstring& exe, const std::wstring& arguments) {
  std::wstring command = L"\"" + exe + L"\" " + arguments + L" --test-ui \"" + Answers() + L"\" \"" + Record() + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  g_main = nullptr;
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &g_started)) {
    std::printf("FAIL Ablagix.exe startet nicht (%lu)\n", GetLastError());
    return false;
  }
  g_process = g_started.hProcess;
  WaitForInputIdle(g_process, 20000);
  for (int i = 0; i < 200 && !g_main; ++i) {
    g_main = FindWindowW(kMainWindowClass, L"Ablagix");
    if (!g_main) Sleep(100);
  }
  if (!g_main) {
    std::printf("FAIL Hauptfenster erscheint nicht\n");
    TerminateProcess(g_process, 1);
    return false;
  }
  Sleep(300);
  return true;
}

// Closes the window as the user would and waits for the program to end.
void Close() {
  PostMessageW(g_main, WM_CLOSE, 0, 0);
  bool ended = WaitForSingleObject(g_process, 20000) == WAIT_OBJECT_0;
  Check(ended, L"Programm beendet");
  if (!ended) TerminateProcess(g_process, 1);
  CloseHandle(g_started.hThread);
  CloseHandle(g_started.hProcess);
  g_process = nullptr;
}

// Remote memory in the program's process for the messages that carry pointers.
template <typename T>
struct Remote {
  Remote() : at(static_cast<T*>(VirtualAllocEx(g_process, nullptr, sizeof(T), MEM_COMMIT, PAGE_READWRITE))) {}
  ~Remote() { VirtualFreeEx(g_process, at, 0, MEM_RELEASE); }
  void Put(const T& value) { WriteProcessMemory(g_process, at, &value, sizeof(T), nullptr); }
  T Get() const {
    T value{};
    ReadProcessMemory(g_process, at, &value, sizeof(T), nullptr);
    return value;
  }
  T* at;
};

bool RowChecked(int id, int row) {
  const LRESULT state = SendMessageW(Control(id), LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_STATEIMAGEMASK);
  return (static_cast<UINT>(state) & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2);
}

RECT ItemRect(int id, int row) {
  Remote<RECT> remote;
  RECT rect{};
  rect.left = LVIR_BOUNDS;
  remote.Put(rect);
  SendMessageW(Control(id), LVM_GETITEMRECT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(remote.at));
  return remote.Get();
}

int HeaderFormat(int id, int column) {
  HWND header = reinterpret_cast<HWND>(SendMessageW(Control(id), LVM_GETHEADER, 0, 0));
  Remote<HDITEMW> remote;
  HDITEMW item{};
  item.mask = HDI_FORMAT;
  remote.Put(item);
  SendMessageW(header, HDM_GETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(remote.at));
  return remote.Get().fmt;
}

void ClickHeader(int id, int column) {
  HWND header = reinterpret_cast<HWND>(SendMessageW(Control(id), LVM_GETHEADER, 0, 0));
  Remote<RECT> remote;
  SendMessageW(header, HDM_GETITEMRECT, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(remote.at));
  const RECT rect = remote.Get();
  const LPARAM at = MAKELPARAM((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
  SendMessageW(header, WM_LBUTTONDOWN, MK_LBUTTON, at);
  SendMessageW(header, WM_LBUTTONUP, 0, at);
}

void DoubleClickRow(int id, int row) {
  const RECT rect = ItemRect(id, row);
  // Inside the first cell, right of the check box.
  const LPARAM at = MAKELPARAM(rect.left + 60, (rect.top + rect.bottom) / 2);
  SendMessageW(Control(id), WM_LBUTTONDBLCLK, MK_LBUTTON, at);
  SendMessageW(Control(id), WM_LBUTTONUP, 0, at);
}

void PickComboEntry(int id, int position) {
  HWND combo = Control(id);
  SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(position), 0);
  SendMessageW(GetParent(combo), WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
}

std::wstring CueBanner(int id) {
  struct Text {
    wchar_t text[512];
  };
  Remote<Text> remote;
  remote.Put(Text{});
  SendMessageW(Control(id), EM_GETCUEBANNER, reinterpret_cast<WPARAM>(remote.at->text), 512);
  return remote.Get().text;
}

namespace {
struct TooltipSearch {
  DWORD process;
  std::vector<HWND> found;
};
BOOL CALLBACK FindTooltips(HWND window, LPARAM data) {
  auto* search = reinterpret_cast<TooltipSearch*>(data);
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  wchar_t name[64] = {};
  GetClassNameW(window, name, 64);
  if (process == search->process && lstrcmpiW(name, TOOLTIPS_CLASSW) == 0) search->found.push_back(window);
  return TRUE;
}
}  // namespace

std::wstring TooltipText(int id) {
  HWND control = Control(id);
  TooltipSearch search{GetProcessId(g_process), {}};
  EnumWindows(FindTooltips, reinterpret_cast<LPARAM>(&search));
  struct Request {
    TOOLINFOW info;
    wchar_t text[1024];
  };
  for (HWND tooltip : search.found) {
    Remote<Request> remote;
    Request request{};
    request.info.cbSize = sizeof request.info;
    request.info.uFlags = TTF_IDISHWND;
    request.info.hwnd = GetParent(control);
    request.info.uId = reinterpret_cast<UINT_PTR>(control);
    request.info.lpszText = remote.at->text;
    remote.Put(request);
    SendMessageW(tooltip, TTM_GETTEXTW, 1024, reinterpret_cast<LPARAM>(&remote.at->info));
    const std::wstring text = remote.Get().text;
    if (!text.empty()) return text;
  }
  return {};
}

bool WaitFor(bool (*done)()) {
  for (int i = 0; i < 200; ++i) {
    if (done()) return true;
    Sleep(50);
  }
  return done();
}

namespace {
std::uint32_t BigEndian(const unsigned char* p) {
  return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3];
}
}  // namespace

// The program's screenshots: 8-bit RGB, rows without filter.
bool ReadPng(const std::wstring& path, Image* image) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  std::string bytes;
  char buffer[65536];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0) bytes.append(buffer, got);
  CloseHandle(file);
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  std::string packed;
  for (size_t at = 8; at + 12 <= bytes.size();) {
    const std::uint32_t length = BigEndian(data + at);
    if (at + 12 + length > bytes.size()) return false;
    const std::string type(bytes, at + 4, 4);
    if (type == "IHDR") {
      image->width = static_cast<int>(BigEndian(data + at + 8));
      image->height = static_cast<int>(BigEndian(data + at + 12));
    } else if (type == "IDAT") {
      packed.append(bytes, at + 8, length);
    }
    at += 12 + length;
  }
  const size_t stride = static_cast<size_t>(image->width) * 3 + 1;
  std::vector<unsigned char> raw(stride * static_cast<size_t>(image->height));
  uLongf size = static_cast<uLongf>(raw.size());
  if (uncompress(raw.data(), &size, reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size())) != Z_OK ||
      size != raw.size()) {
    return false;
  }
  image->rgb.clear();
  for (int y = 0; y < image->height; ++y) {
    const unsigned char* row = raw.data() + static_cast<size_t>(y) * stride;
    if (row[0] != 0) return false;
    image->rgb.insert(image->rgb.end(), row + 1, row + stride);
  }
  return true;
}

}  // namespace gui
