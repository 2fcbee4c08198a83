#include "fileops/shredder.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <random>
#include <vector>

#include "base/abort_flag.h"
#include "base/text.h"
#include "fileops/in_place_io.h"
#include "fileops/file_system_seam.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

bool g_shredAllReadOnly = false;

// 59 characters: no "w", "U", "W" or "9", and "T" twice. The gaps and the doubled "T" are
// intended; the random names must keep coming from exactly this set.
constexpr std::wstring_view kNameAlphabet =
    L"abcdefghijklmnopqrstuvxyzABCDEFGHIJKLMNOPQRTSTVXYZ012345678";
static_assert(kNameAlphabet.size() == 59);

constexpr std::uint8_t kPassFill[kShredPasses] = {0x00, 0xFF, 0xFF, 0x00};
// The last write of a pass; only pass 3 differs from its full blocks. Pass 4 draws its own.
constexpr std::uint8_t kPassTail[kShredPasses] = {0x00, 0xFF, 0x8C, 0x00};

// Gives up on finding a free random name after this many taken ones.
constexpr int kRenameAttempts = 32;

std::uint32_t ClockSeed() {
  auto ticks = std::chrono::high_resolution_clock::now().time_since_epoch().count();
  auto wide = static_cast<std::uint64_t>(ticks);
  return static_cast<std::uint32_t>(wide ^ (wide >> 32));
}

// A byte value 1..255 (the random fraction times 255, plus one): never 0, so the last pass
// is never mistaken for the first.
std::uint8_t RandomFill(std::mt19937& random) {
  std::uniform_real_distribution<double> fraction(0.0, 1.0);
  return static_cast<std::uint8_t>(static_cast<int>(fraction(random) * 255.0) + 1);
}

std::wstring PassText(const std::wstring& head, const std::wstring& name, int pass) {
  return head + name + L"... " + NumberText(static_cast<std::uint64_t>(pass)) + L" von " +
         NumberText(static_cast<std::uint64_t>(kShredPasses));
}

ShredResult Failure(ShredFailure failure, std::wstring reason, std::uint32_t error, std::wstring leftOver) {
  ShredResult r;
  r.outcome = ShredOutcome::Failed;
  r.failure = failure;
  r.reason = std::move(reason);
  r.systemError = error;
  r.leftOver = std::move(leftOver);
  return r;
}

ShredResult Outcome(ShredOutcome outcome, std::wstring leftOver = {}) {
  ShredResult r;
  r.outcome = outcome;
  r.leftOver = std::move(leftOver);
  return r;
}

// Yes: this one and every later read-only file; No: this one only; anything else: none.
bool MayShredReadOnly(const std::wstring& path, UiPort& ui, const std::wstring& question) {
  if (g_shredAllReadOnly) return true;
  const std::wstring text = path + L"\r\n" + question;
  switch (ui.AskBeforeDestroying(text, MessageIcon::Exclamation, MessageButtons::YesNoCancel,
                                 MessageAnswer::Cancel)) {
    case MessageAnswer::Yes:
      g_shredAllReadOnly = true;
      return true;
    case MessageAnswer::No:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::wstring ShredReasonText(const ShredResult& result) {
  switch (result.outcome) {
    case ShredOutcome::Shredded: return L"";
    case ShredOutcome::NameRemoved: return std::wstring(kShredNameOnly);
    case ShredOutcome::SkippedReadOnly: return L"Schreibgesch\u00fctzt, nicht geschreddert";
    case ShredOutcome::Aborted: return L"Abgebrochen";
    case ShredOutcome::Failed: break;
  }
  if (result.systemError == 0) return result.reason;
  return result.reason + L" (" + FsErrorText(StatusFromSystemError(result.systemError).error) + L")";
}

bool ShredAllReadOnly() { return g_shredAllReadOnly; }
void SetShredAllReadOnly(bool value) { g_shredAllReadOnly = value; }

std::wstring RandomName(std::size_t length) {
  std::wstring name;
  name.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    // A fresh clock seed per character: the name then says nothing about the random values
    // that overwrote the file just before.
    std::mt19937 random(ClockSeed());
    std::uniform_real_distribution<double> fraction(0.0, 1.0);
    auto index = static_cast<std::size_t>(fraction(random) * static_cast<double>(kNameAlphabet.size()));
    name += kNameAlphabet[std::min(index, kNameAlphabet.size() - 1)];
  }
  return name;
}

namespace {

// Before anything is written: the file is still the one found, a plain file, and its data's
// only name (otherwise only the name goes). `target` gets the file's identity. Returns the
// result when the shredding ends here.
std::optional<ShredResult> CheckBeforeShredding(const FileRef& found, FileRef* target) {
  const std::wstring& path = found.path;
  FileSystem& fs = ActiveFileSystem();
  FileInfo info;
  if (const FsStatus looked = fs.Inspect(path, &info); !looked.ok()) {
    return Failure(ShredFailure::NotFound, L"Datei nicht gefunden", looked.code, {});
  }
  if (info.kind == FileKind::kFolder) return Failure(ShredFailure::NotAFile, L"Ist ein Ordner", 0, path);
  // Overwriting through a link would destroy the content of a file elsewhere.
  if (info.kind != FileKind::kFile) return Failure(ShredFailure::NotAFile, L"Ist eine Verknüpfung", 0, path);
  if (found.id.known() && info.id != found.id) {
    return Failure(ShredFailure::NotAFile, FsErrorText(FsError::kNotTheFoundFile), 0, path);
  }
  // A file compared before (a duplicate with its kept copy) goes only as the version compared.
  if (found.versionKnown && !(info.version == found.version)) {
    return Failure(ShredFailure::NotAFile, FsErrorText(FsError::kChangedMeanwhile), 0, path);
  }
  *target = found;
  target->id = info.id;
  // Lifting the read-only bit below changes the record's time; the version was compared here,
  // the identity is compared again when the file is opened.
  target->versionKnown = false;
  if (info.links > 1) {
    // Another name (a backup made of hard links, a deduplicated copy) holds the same data:
    // destroying the data would destroy that file. Only the name that was asked for goes.
    const FsStatus removed = fs.RemoveFile(*target);
    if (!removed.ok()) return Failure(ShredFailure::Deleting, L"Löschen fehlgeschlagen", removed.code, path);
    return Outcome(ShredOutcome::NameRemoved);
  }
  return std::nullopt;
}

// Opens the file for the passes, after asking about a read-only one, and reads its length.
// A file that is not opened keeps its attributes. Returns the result when the shredding ends
// here.
std::optional<ShredResult> OpenForPasses(const FileRef& target, UiPort& ui, const ShredTexts& texts,
                                         InPlaceFile* file, std::uint64_t* length) {
  const std::wstring& path = target.path;
  std::uint32_t attributes = 0;
  if (!GetAttributes(path, &attributes)) {
    return Failure(ShredFailure::NotFound, L"Datei nicht gefunden", LastSystemError(), {});
  }
  if ((attributes & kAttrReadOnly) && !MayShredReadOnly(path, ui, texts.readOnlyQuestion)) {
    return Outcome(ShredOutcome::SkippedReadOnly, path);
  }

  // Archive only: read-only would refuse the writes, hidden and system the delete.
  SetAttributes(path, kAttrArchive);
  if (!file->Open(target)) {
    std::uint32_t error = file->LastError();
    SetAttributes(path, attributes);  // untouched, so it keeps what it had
    return Failure(ShredFailure::CannotOpen, L"Datei lässt sich nicht öffnen", error, path);
  }
  std::uint32_t links = 1;
  if (file->Links(&links) && links > 1) {
    // A name added since the look above: leave the data to it.
    file->Close();
    SetAttributes(path, attributes);
    return Failure(ShredFailure::CannotOpen, L"Datei hat weitere Namen bekommen", 0, path);
  }
  if (!file->Size(length)) {
    std::uint32_t error = file->LastError();
    SetAttributes(path, attributes);
    return Failure(ShredFailure::CannotOpen, L"Dateigröße unbekannt", error, path);
  }
  return std::nullopt;
}

// Overwrites the whole file kShredPasses times, each pass flushed to the disk. Returns the
// result when the shredding ends here (Esc, a failed write).
std::optional<ShredResult> OverwriteInPasses(InPlaceFile& file, std::uint64_t length, const std::wstring& path,
                                             UiPort& ui, const ShredProgressFn& progress, const std::wstring& head) {
  // Up to one block the pass is a single write, which counts as its final (partial) block.
  const std::uint64_t fullBlocks = length <= kShredBlockSize ? 0 : length / kShredBlockSize;
  const auto tail = static_cast<std::size_t>(length - fullBlocks * kShredBlockSize);

  std::vector<std::uint8_t> zeros(kShredBlockSize, 0x00);
  std::vector<std::uint8_t> ones(kShredBlockSize, 0xFF);
  std::vector<std::uint8_t> scratch(kShredBlockSize);
  std::mt19937 random(ClockSeed() ^ std::random_device{}());
  const std::wstring name = NamePart(path);

  auto stopRequested = [&ui] {
    if (AbortRequested()) return true;
    if (!ui.PollForAbort()) return false;
    RequestAbort();  // Esc ends the caller's file loop too, not just this file
    return true;
  };

  for (int pass = 1; pass <= kShredPasses; ++pass) {
    const std::wstring text = PassText(head, name, pass);
    std::uint64_t offset = 0;
    auto write = [&](std::size_t size, bool isTail) -> bool {
      const std::uint8_t* data;
      if (pass == kShredPasses) {
        std::fill_n(scratch.begin(), size, RandomFill(random));
        data = scratch.data();
      } else {
        std::uint8_t fill = isTail ? kPassTail[pass - 1] : kPassFill[pass - 1];
        data = fill == 0x00 ? zeros.data() : fill == 0xFF ? ones.data() : nullptr;
        if (!data) {
          std::fill_n(scratch.begin(), size, fill);
          data = scratch.data();
        }
      }
      if (!file.WriteAt(offset, data, size)) return false;
      offset += size;
      if (progress) progress({text, pass, offset, length});
      return true;
    };

    for (std::uint64_t block = 0; block < fullBlocks; ++block) {
      if (stopRequested()) return Outcome(ShredOutcome::Aborted, path);
      if (!write(kShredBlockSize, false)) {
        return Failure(ShredFailure::Overwriting, L"Überschreiben fehlgeschlagen", file.LastError(), path);
      }
    }
    if (tail > 0) {
      if (stopRequested()) return Outcome(ShredOutcome::Aborted, path);
      if (!write(tail, true)) {
        return Failure(ShredFailure::Overwriting, L"Überschreiben fehlgeschlagen", file.LastError(), path);
      }
    }
    // Each pass must reach the disk: left in the cache, the passes would merge into the last
    // one, and deleting the file could drop them before any was written.
    if (length > 0 && !file.Flush()) {
      return Failure(ShredFailure::Overwriting, L"Überschreiben fehlgeschlagen", file.LastError(), path);
    }
  }
  return std::nullopt;
}

// The old name would otherwise survive in the folder's records; a random one takes its place,
// and the file goes under it. A taken name is never replaced: that file is not ours to
// destroy. Both steps only while the names stand for the file that was overwritten.
ShredResult RemoveUnderRandomName(const FileRef& target) {
  FileSystem& fs = ActiveFileSystem();
  const std::wstring folder = FolderPart(target.path);
  std::wstring renamed;
  FsStatus status;
  for (int attempt = 0; attempt < kRenameAttempts && renamed.empty(); ++attempt) {
    std::wstring candidate = folder + RandomName(6);
    status = fs.Rename(target, candidate, false);
    if (status.ok()) {
      renamed = std::move(candidate);
    } else if (status.error != FsError::kExists) {
      break;
    }
  }
  // The name went, or now stands for another file, while the passes ran: the found file's
  // data is destroyed all the same, and whatever holds the name now is not this run's to touch.
  if (renamed.empty() && (status.error == FsError::kNotTheFoundFile || status.error == FsError::kNotFound)) {
    return Outcome(ShredOutcome::Shredded);
  }
  if (renamed.empty()) return Failure(ShredFailure::Renaming, L"Umbenennen fehlgeschlagen", status.code, target.path);

  FileRef shredded = target;
  shredded.path = renamed;
  status = fs.RemoveFile(shredded);
  if (!status.ok()) return Failure(ShredFailure::Deleting, L"Löschen fehlgeschlagen", status.code, renamed);
  return Outcome(ShredOutcome::Shredded);
}

}  // namespace

ShredResult ShredFile(const FileRef& found, UiPort& ui, const ShredProgressFn& progress,
                      const ShredTexts& texts) {
  FileRef target;
  if (std::optional<ShredResult> ended = CheckBeforeShredding(found, &target)) return *ended;
  InPlaceFile file;
  std::uint64_t length = 0;
  if (std::optional<ShredResult> ended = OpenForPasses(target, ui, texts, &file, &length)) return *ended;
  if (std::optional<ShredResult> ended = OverwriteInPasses(file, length, target.path, ui, progress, texts.overwriting)) {
    return *ended;
  }
  file.Close();
  return RemoveUnderRandomName(target);
}

}  // namespace ablagix
