// The system's errno values as short German reasons.
#include <cerrno>

#include "base/text.h"
#include "fileops/system_error.h"

namespace ablagix {

std::wstring SystemErrorText(std::uint32_t code) {
  switch (code) {
    case ENOSPC:
    case EDQUOT: return L"Nicht gen\u00fcgend Speicherplatz";
    case EACCES:
    case EPERM: return L"Zugriff verweigert";
    case ENOENT: return L"Datei oder Ordner nicht gefunden";
    case EEXIST: return L"Datei existiert bereits";
    case EROFS: return L"Datentr\u00e4ger ist schreibgesch\u00fctzt";
    case EBUSY:
    case ETXTBSY: return L"Datei wird von einem anderen Prozess verwendet";
    case ENAMETOOLONG: return L"Pfad zu lang";
    case EIO: return L"Ein-/Ausgabefehler des Datentr\u00e4gers";
    case EFBIG: return L"Datei zu gro\u00df f\u00fcr das Dateisystem";
    case EISDIR: return L"Ist ein Ordner";
    case ENOTDIR: return L"Pfad ung\u00fcltig";
    case EINVAL: return L"Ung\u00fcltiger Name";
    case ENOMEM: return L"Nicht gen\u00fcgend Arbeitsspeicher";
    default: return L"Systemfehler " + NumberText(code);
  }
}

std::uint32_t DiskFullError() { return ENOSPC; }
std::uint32_t AlreadyExistsError() { return EEXIST; }

}  // namespace ablagix
