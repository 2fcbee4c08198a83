#include "engine/watch_copies_warning.h"

#include "base/text.h"
#include "engine/zip_actions.h"

namespace ablagix {
namespace {

bool Multiply(bool watched, bool copies, bool numbers, bool skipIdentical, bool zipped) {
  return watched && copies && numbers && (!skipIdentical || zipped);
}

}  // namespace

bool WatchedCopiesMultiply(const Profile& p) {
  const ProfileSwitches switches = SwitchesOf(p);
  return Multiply(switches.watch, EqualsNoCase(Trim(p.Aktion), kAktionKopieren),
                  CollisionOf(p.Kollision) == Collision::kNumber, switches.skipIdentical,
                  ZipModeOf(p.Zippen) != ZipMode::None);
}

bool WatchedCopiesMultiply(const ProfileEditorValues& v) {
  return Multiply(v.watch, v.actions[1], !v.collisionOverwrite && !v.collisionSkip, v.skipIdentical,
                  v.zipSeparate || v.zipOne);
}

std::wstring WatchedCopiesMultiplyWarning(std::wstring_view profileName) {
  return L"Achtung: \u201E" + std::wstring(profileName) +
         L"\u201C wird \u00fcberwacht und kopiert mit \u201Eneue Datei umbenennen (1)\u201C. Die \u00dcberwachung "
         L"nimmt nur neue und ge\u00e4nderte Dateien, doch jeder Lauf \u00fcber den ganzen Quellordner (von Hand, "
         L"mit dem Timer oder nach verlorenen \u00c4nderungsmeldungen) kopiert alle Dateien noch einmal als "
         L"\u201E(1)\u201C, \u201E(2)\u201C usw. Das verhindert \u201E\u00fcberspringen\u201C oder, ohne "
         L"Zip-Archiv, \u201EIdentische Dateien \u00fcberspringen\u201C.";
}

}  // namespace ablagix
