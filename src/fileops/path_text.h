// Pure text helpers for paths. They never touch the disk.
//
// Profiles hold Windows paths, so "\" is the separator everywhere; "/" is accepted as well,
// because Windows takes it too and on Linux it is the real separator.
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

bool IsPathSeparator(wchar_t c);
bool EndsWithSeparator(std::wstring_view path);

// The path with one separator appended unless it already ends in one ("C:\" stays "C:\").
// The separator added is the one the path already uses, "\" when it uses none (on Linux "/"
// when the path uses none).
std::wstring WithTrailingBackslash(std::wstring_view folder);
// One trailing separator removed (nothing else).
std::wstring_view WithoutTrailingSeparator(std::wstring_view path);

// "C:\a\b\" gives "C:\a\"; a path without separator gives "".
std::wstring FolderPart(std::wstring_view path);
// "C:\a\b\" gives "b"; "C:\a\b.txt" gives "b.txt".
std::wstring NamePart(std::wstring_view path);
// The text behind the last "." of a file name: "photo.tar.gz" gives "gz", ".profile" gives
// "profile", "README" gives "".
std::wstring_view ExtensionOf(std::wstring_view name);

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name);

// "\\server\share\a" gives "\\?\UNC\server\share\a"; any other path gets "\\?\" in front.
// A path that already has the "\\?\" form is returned unchanged.
std::wstring LongPathForm(std::wstring_view path);

// A Windows full path ("C:\..." or "\\server\share\...") made plain as text: "/" becomes "\",
// doubled separators one, "." and ".." steps are resolved. Nothing else about a name changes: a
// name that ends in a dot or a blank, or is called "CON", keeps it, where the system's own
// normalisation would make it another file's name. Other paths are returned unchanged.
std::wstring NormalizedFullPath(std::wstring_view path);

// Names that Windows takes for a device in every folder, with or without an extension ("CON",
// "nul", "COM1", "aux" of "aux.txt"); `stem` is the name up to its first ".".
bool IsWindowsDeviceName(std::wstring_view stem);
// True for a name that Windows's own path handling turns into another one: a trailing dot or
// blank goes, a device name becomes the device. Such a name reaches the file only through the
// "\\?\" form, never through the shell.
bool WindowsRewritesName(std::wstring_view name);

// Whether this system's file names ignore case: Windows does ("Fotos" and "fotos" are one
// folder), Linux does not (they are two).
bool FileNamesIgnoreCase();
// One character of two names equal by that rule.
bool SameNameChar(wchar_t a, wchar_t b);

// True when both texts name the same folder: compared whole by the file system's case rule,
// "\" and "/" alike, one trailing separator on either side ignored.
bool SameFolderText(std::wstring_view a, std::wstring_view b);
// True when `path` begins with `prefix`, compared as SameFolderText compares.
bool FolderTextStartsWith(std::wstring_view path, std::wstring_view prefix);

// The fixed part of a target folder that a run writes below: the text before the first "%"
// ("D:\Fotos\Jahr_%Jahr%" gives "D:\Fotos\Jahr_"), or the whole folder with a separator
// at its end when it holds no variable.
std::wstring OwnTargetPrefix(std::wstring_view ziel);
// True when a profile with subfolders would write below its own source folder.
bool TargetInsideSource(std::wstring_view ziel, std::wstring_view quelle);

}  // namespace ablagix
