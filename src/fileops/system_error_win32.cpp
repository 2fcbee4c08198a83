// The system's GetLastError codes as short German reasons.
#include <windows.h>

#include "base/text.h"
#include "fileops/system_error.h"

namespace ablagix {

std::wstring SystemErrorText(std::uint32_t code) {
  switch (code) {
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL: return L"Nicht gen\u00fcgend Speicherplatz";
    case ERROR_ACCESS_DENIED: return L"Zugriff verweigert";
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return L"Datei oder Ordner nicht gefunden";
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return L"Datei existiert bereits";
    case ERROR_WRITE_PROTECT: return L"Datentr\u00e4ger ist schreibgesch\u00fctzt";
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION: return L"Datei wird von einem anderen Prozess verwendet";
    case ERROR_FILENAME_EXCED_RANGE: return L"Pfad zu lang";
    case ERROR_CRC:
    case ERROR_IO_DEVICE: return L"Ein-/Ausgabefehler des Datentr\u00e4gers";
    case ERROR_FILE_TOO_LARGE: return L"Datei zu gro\u00df f\u00fcr das Dateisystem";
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME: return L"Ung\u00fcltiger Name";
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: return L"Nicht gen\u00fcgend Arbeitsspeicher";
    case ERROR_BAD_NETPATH:
    case ERROR_NETNAME_DELETED:
    case ERROR_UNEXP_NET_ERR: return L"Netzwerkpfad nicht erreichbar";
    default: return L"Systemfehler " + NumberText(code);
  }
}

std::uint32_t DiskFullError() { return ERROR_DISK_FULL; }
std::uint32_t AlreadyExistsError() { return ERROR_FILE_EXISTS; }

}  // namespace ablagix
