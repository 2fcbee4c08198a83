#include "fileops/system_error.h"

#include "base/text.h"

namespace ablagix {

std::wstring FsErrorText(FsError error) {
  switch (error) {
    case FsError::kNone: return L"";
    case FsError::kNotFound: return L"Datei oder Ordner nicht gefunden";
    case FsError::kAccessDenied: return L"Zugriff verweigert";
    case FsError::kLocked: return L"Datei wird von einem anderen Programm verwendet";
    case FsError::kDiskFull: return L"Nicht gen\u00fcgend Speicherplatz";
    case FsError::kExists: return L"Name bereits vergeben";
    case FsError::kReadOnlyMedium: return L"Datentr\u00e4ger ist schreibgesch\u00fctzt";
    case FsError::kNameTooLong: return L"Pfad zu lang";
    case FsError::kNotSameVolume: return L"Anderes Laufwerk";
    case FsError::kNotRegularFile: return L"Keine normale Datei";
    case FsError::kCancelled: return L"Abgebrochen";
    case FsError::kIo: return L"Lese- oder Schreibfehler des Datentr\u00e4gers";
    case FsError::kTooLarge: return L"Datei zu gro\u00df f\u00fcr das Dateisystem";
    case FsError::kInvalidName: return L"Ung\u00fcltiger Name";
    case FsError::kNoMemory: return L"Nicht gen\u00fcgend Arbeitsspeicher";
    case FsError::kNetwork: return L"Netzwerkpfad nicht erreichbar";
    case FsError::kNotTheFoundFile: return L"Datei wurde seit der Suche durch eine andere ersetzt";
    case FsError::kChangedMeanwhile: return L"Datei wurde w\u00e4hrend der Bearbeitung ge\u00e4ndert";
    case FsError::kOther: break;
  }
  return L"Systemfehler";
}

std::wstring FsStatusText(const FsStatus& status) {
  std::wstring text = FsErrorText(status.error);
  if (status.error == FsError::kOther && status.code != 0) text += L" " + NumberText(status.code);
  switch (status.side) {
    case FsSide::kSource: return L"Quelle: " + text;
    case FsSide::kTarget: return L"Ziel: " + text;
    case FsSide::kUnknown: break;
  }
  return text;
}

std::wstring SystemErrorText(std::uint32_t code) { return FsStatusText(StatusFromSystemError(code)); }

}  // namespace ablagix
