// ablagix-cli: the Ablagix engine from a terminal.
#include <algorithm>
#include <string>
#include <vector>

#include "ablagix_version.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/options.h"

namespace ablagix::cli {
namespace {

constexpr std::wstring_view kUsage =
    L"Ablagix – Ordner nach Regeln aufräumen\n"
    L"\n"
    L"Aufruf: ablagix-cli BEFEHL [OPTIONEN]\n"
    L"\n"
    L"Befehle:\n"
    L"  list                 zeigt die Profile der Profildatei (Name, Quelle, Aktion, Ziel)\n"
    L"  run [--simulate] (--all | PROFIL...) [--format table|tsv] [--export DATEI]\n"
    L"      [--threads N]\n"
    L"                       f\u00fchrt die Profile aus (mit --simulate: nur simulieren, nichts\n"
    L"                       wird ver\u00e4ndert) und zeigt das Log; tsv: alle 14 Spalten mit\n"
    L"                       Tabulatoren getrennt (in Zellen stehen \\\\, \\t, \\n, \\r und \\xNN\n"
    L"                       f\u00fcr Backslash, Tabulator, Zeilenwechsel und Bytes eines Namens,\n"
    L"                       die kein UTF-8 sind). --export speichert das Log zus\u00e4tzlich als\n"
    L"                       Bericht, das Format nach der Endung (.txt, .csv, .html, .pdf).\n"
    L"                       --threads: so viele Dateien zugleich nach Text oder Metadaten\n"
    L"                       durchsuchen (Standard: je Prozessorkern eine; 1: nacheinander).\n"
    L"                       Mit \"Log automatisch speichern im Ordner:\" (Einstellungen) wird\n"
    L"                       das Log nach jedem Lauf dort gespeichert, wie im Fenster.\n"
    L"                       Exit-Code 0, 1 bei \"Fehler!\", 2 bei falscher Eingabe, 130 nach\n"
    L"                       Abbruch (Strg+C)\n"
    L"  timer --interval MINUTEN (--all | PROFIL...) [--format table|tsv]\n"
    L"        [--clear-every-fifth] [--runs N] [--tick-seconds S] [--threads N]\n"
    L"                       f\u00fchrt die Profile im Intervall aus, bis Strg+C (oder N L\u00e4ufe);\n"
    L"                       --tick-seconds verk\u00fcrzt die Minute zum Ausprobieren\n"
    L"  watch (--all | PROFIL...) [--format table|tsv] [--interval MINUTEN] [--runs N]\n"
    L"        [--threads N]\n"
    L"                       \u00fcberwacht die Quellordner der Profile, die mit \u201EDiesen\n"
    L"                       Ordner \u00fcberwachen\u201C markiert sind, bis Strg+C (oder N L\u00e4ufe):\n"
    L"                       ein Profil l\u00e4uft, sobald neue oder ge\u00e4nderte Dateien seit\n"
    L"                       2 Sekunden unver\u00e4ndert und nicht mehr in Benutzung sind,\n"
    L"                       und behandelt nur diese Dateien. Was Ablagix selbst\n"
    L"                       verschiebt oder kopiert, l\u00f6st keinen Lauf aus.\n"
    L"                       Ein Ordner, der sich nicht \u00fcberwachen l\u00e4sst (etwa eine\n"
    L"                       Netzwerkfreigabe), l\u00e4uft stattdessen alle --interval Minuten\n"
    L"                       (Standard 10), bis er sich wieder \u00fcberwachen l\u00e4sst\n"
    L"  undo (--list | --last | LAUF) [--format table|tsv]\n"
    L"                       macht einen ausgef\u00fchrten Lauf r\u00fcckg\u00e4ngig, die letzte \u00c4nderung\n"
    L"                       zuerst: Verschobenes kommt zur\u00fcck, unver\u00e4nderte Kopien,\n"
    L"                       Archive und entpackte Dateien werden entfernt, Dateien aus dem\n"
    L"                       Papierkorb zur\u00fcckgeholt (auch was \"Entpacken\" ersetzt hat);\n"
    L"                       endg\u00fcltig Gel\u00f6schtes bleibt weg. Nichts wird\n"
    L"                       \u00fcberschrieben: ein belegter Name bekommt \"(1)\". --list zeigt\n"
    L"                       die L\u00e4ufe (Nr, Name), --last nimmt den neuesten, LAUF ist\n"
    L"                       eine Nr oder ein Name aus --list. Ein Lauf wird nur einmal\n"
    L"                       r\u00fcckg\u00e4ngig gemacht\n"
    L"  exif DATEI           zeigt die 20 Exif-Felder eines Bildes (JPEG, TIFF, PNG)\n"
    L"  expand DATEI VORLAGE [--name [--nr N]]\n"
    L"                       zeigt, was aus einer Vorlage mit Variablen wie %Datum% oder\n"
    L"                       %DateGAYYYY% f\u00fcr diese Datei wird; mit --name den neuen\n"
    L"                       Namen, den \"Zielname\" ihr g\u00e4be (mit Endung, %Nr% = N,\n"
    L"                       Standard 1)\n"
    L"  help                 zeigt diese Hilfe\n"
    L"  --version            zeigt die Versionsnummer\n"
    L"\n"
    L"Optionen für alle Befehle:\n"
    L"  --profiles DATEI     diese Profildatei statt Ablagix.ini im Einstellungsordner\n"
    L"  --config-dir ORDNER  Einstellungsordner (Standard: %APPDATA%\\Kramdock\\,\n"
    L"                       unter Linux $APPDATA, $XDG_CONFIG_HOME oder ~/.config, dann Kramdock/)\n"
    L"  --ja, --yes          beantwortet Fragen, deren Antwort Dateien zerst\u00f6rt (etwa: schreib-\n"
    L"                       gesch\u00fctzte Dateien schreddern?), mit \u201EJa\u201C. Ohne Terminal und ohne\n"
    L"                       --ja gilt die Antwort, die jede Datei beh\u00e4lt (Zeile \u201EFehler!\u201C)\n";

int Main(std::vector<std::wstring> args) {
  GlobalOptions options;
  std::wstring error;
  if (!ExtractGlobalOptions(&args, &options, &error)) {
    WriteErr(error + L"\n");
    return kExitBadInput;
  }
  if (args.empty() || args.front() == L"help" || args.front() == L"--help" || args.front() == L"-h") {
    WriteOut(kUsage);
    return args.empty() ? kExitBadInput : kExitOk;
  }
  if (args.front() == L"--version") {
    WriteOut(L"ablagix-cli " + FromUtf8(ABLAGIX_VERSION_TEXT) + L"\n");
    return kExitOk;
  }
  const std::wstring command = args.front();
  args.erase(args.begin());
  if (command == L"list") return ListCommand(args, options);
  if (command == L"run") return RunCommand(args, options);
  if (command == L"timer") return TimerCommand(args, options);
  if (command == L"watch") return WatchCommand(args, options);
  if (command == L"exif") return ExifCommand(args, options);
  if (command == L"expand") return ExpandCommand(args, options);
  if (command == L"undo") return UndoCommand(args, options);
  WriteErr(L"Unbekannter Befehl \"" + command + L"\". Hilfe: ablagix-cli --help\n");
  return kExitBadInput;
}

}  // namespace
}  // namespace ablagix::cli

int main(int argc, char** argv) {
  ablagix::cli::InstallInterruptHandler();
  return ablagix::cli::Main(ablagix::cli::Arguments(argc, argv));
}
