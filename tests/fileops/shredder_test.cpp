#include "fileops/shredder.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "base/abort_flag.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('a' + i % 26);
  return bytes;
}

bool AllBytesAre(std::string_view bytes, unsigned char value) {
  for (char c : bytes) {
    if (static_cast<unsigned char>(c) != value) return false;
  }
  return true;
}

// What the file held at the end of every pass, and how many writes each pass made.
struct PassRecorder {
  explicit PassRecorder(std::wstring file) : path(std::move(file)) {}
  std::wstring path;
  std::vector<std::string> afterPass;
  std::vector<int> writes = std::vector<int>(kShredPasses, 0);
  std::vector<std::wstring> texts;

  ShredProgressFn Hook() {
    return [this](const ShredProgress& p) {
      ++writes[static_cast<std::size_t>(p.pass - 1)];
      if (p.passBytesWritten == p.fileLength) {
        afterPass.push_back(ReadBytes(path));
        texts.emplace_back(p.text);
      }
    };
  }
};

class ShredderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetShredAllReadOnly(false);
    ClearAbort();
  }
  void TearDown() override {
    SetShredAllReadOnly(false);
    ClearAbort();
  }
  TempDir dir;
  test::RecordingUi ui;
};

TEST_F(ShredderTest, OverwritesEachPassUpToTheOriginalLengthThenDeletes) {
  const std::wstring path = dir / L"Konto Auszug.pdf";
  ASSERT_TRUE(WriteBytes(path, Pattern(40000)));
  PassRecorder recorder(path);
  ShredResult result = ShredFile(path, ui, recorder.Hook());
  EXPECT_EQ(result.outcome, ShredOutcome::Shredded);
  EXPECT_TRUE(result.leftOver.empty());

  ASSERT_EQ(recorder.afterPass.size(), 4u);
  for (const std::string& bytes : recorder.afterPass) ASSERT_EQ(bytes.size(), 40000u);
  EXPECT_TRUE(AllBytesAre(recorder.afterPass[0], 0x00));
  EXPECT_TRUE(AllBytesAre(recorder.afterPass[1], 0xFF));
  // Pass 3: full blocks from the 0xFF block, only the tail 0x8C.
  EXPECT_TRUE(AllBytesAre(std::string_view(recorder.afterPass[2]).substr(0, 32768), 0xFF));
  EXPECT_TRUE(AllBytesAre(std::string_view(recorder.afterPass[2]).substr(32768), 0x8C));
  // Pass 4: one non-zero value across each block.
  std::string_view last = recorder.afterPass[3];
  const auto block = static_cast<unsigned char>(last[0]);
  const auto tail = static_cast<unsigned char>(last[32768]);
  EXPECT_NE(block, 0);
  EXPECT_NE(tail, 0);
  EXPECT_TRUE(AllBytesAre(last.substr(0, 32768), block));
  EXPECT_TRUE(AllBytesAre(last.substr(32768), tail));

  EXPECT_EQ(recorder.writes, (std::vector<int>{2, 2, 2, 2}));
  EXPECT_EQ(recorder.texts[1], L"\u00dcberschreibe Konto Auszug.pdf... 2 von 4");
  // Neither the old name nor the random one is left behind.
  EXPECT_TRUE(test::NamesIn(dir.path()).empty());
  EXPECT_TRUE(ui.shown.empty());
}

TEST_F(ShredderTest, BlockBoundariesDecideTheWritesAndTheThirdPassTail) {
  struct Case {
    std::size_t size;
    int writesPerPass;
    std::size_t pass3FfBytes;  // the rest of pass 3 is 0x8C
  };
  // Up to one block a pass is a single write, taken as the tail.
  const Case cases[] = {{1, 1, 0}, {32768, 1, 0}, {32769, 2, 32768}, {65536, 2, 65536}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.size);
    const std::wstring path = dir / L"datei.bin";
    ASSERT_TRUE(WriteBytes(path, Pattern(c.size)));
    PassRecorder recorder(path);
    EXPECT_TRUE(ShredFile(path, ui, recorder.Hook()).Succeeded());
    EXPECT_EQ(recorder.writes, std::vector<int>(4, c.writesPerPass));
    ASSERT_EQ(recorder.afterPass.size(), 4u);
    std::string_view pass3 = recorder.afterPass[2];
    ASSERT_EQ(pass3.size(), c.size);
    EXPECT_TRUE(AllBytesAre(pass3.substr(0, c.pass3FfBytes), 0xFF));
    EXPECT_TRUE(AllBytesAre(pass3.substr(c.pass3FfBytes), 0x8C));
    EXPECT_FALSE(PathExists(path));
  }
  EXPECT_TRUE(test::NamesIn(dir.path()).empty());
}

TEST_F(ShredderTest, EmptyFileIsNotWrittenButRemoved) {
  const std::wstring path = dir / L"leer.txt";
  ASSERT_TRUE(WriteBytes(path, ""));
  int calls = 0;
  EXPECT_TRUE(ShredFile(path, ui, [&](const ShredProgress&) { ++calls; }).Succeeded());
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(test::NamesIn(dir.path()).empty());
}

TEST_F(ShredderTest, ReadOnlyFilesAskUntilAnsweredForAll) {
  const std::wstring a = dir / L"a.txt", b = dir / L"b.txt", c = dir / L"c.txt";
  for (const auto& path : {a, b, c}) {
    ASSERT_TRUE(WriteBytes(path, "geheim"));
    ASSERT_TRUE(SetAttributes(path, kAttrReadOnly));
  }

  // Cancel: untouched, still read-only.
  ui.answers = {MessageAnswer::Cancel};
  ShredResult skipped = ShredFile(a, ui);
  EXPECT_EQ(skipped.outcome, ShredOutcome::SkippedReadOnly);
  EXPECT_EQ(ReadBytes(a), "geheim");
  std::uint32_t attributes = 0;
  ASSERT_TRUE(GetAttributes(a, &attributes));
  EXPECT_TRUE(attributes & kAttrReadOnly);
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].text,
            a + L"\r\nist schreibgesch\u00fctz, sollen ' alle ' schreibgesch\u00fctzten Dateien "
                L"geschreddert werden? Wenn nur diese eine schreibgesch\u00fctzte Datei geschreddert "
                L"werden soll best\u00e4tigen Sie mit nein!");
  EXPECT_EQ(ui.shown[0].icon, MessageIcon::Exclamation);
  EXPECT_EQ(ui.shown[0].buttons, MessageButtons::YesNoCancel);

  // No: this one only, the next one asks again.
  ui.answers = {MessageAnswer::No};
  EXPECT_TRUE(ShredFile(a, ui).Succeeded());
  EXPECT_FALSE(ShredAllReadOnly());
  // Yes: this one and all later ones without a question.
  ui.answers = {MessageAnswer::Yes};
  EXPECT_TRUE(ShredFile(b, ui).Succeeded());
  EXPECT_TRUE(ShredAllReadOnly());
  EXPECT_TRUE(ShredFile(c, ui).Succeeded());
  EXPECT_EQ(ui.shown.size(), 3u);
  EXPECT_TRUE(test::NamesIn(dir.path()).empty());
}

// A UI whose Esc key is pressed at the n-th poll.
class EscAtPoll : public test::RecordingUi {
 public:
  explicit EscAtPoll(int n) : n_(n) {}
  bool PollForAbort() override { return ++polls_ >= n_; }

 private:
  int n_;
  int polls_ = 0;
};

TEST_F(ShredderTest, StoppingLeavesThePartlyOverwrittenFileUnderItsName) {
  // The abort flag (the wait window's button) set at the end of pass 2.
  const std::wstring path = dir / L"brief.doc";
  ASSERT_TRUE(WriteBytes(path, Pattern(40000)));
  ShredResult result = ShredFile(path, ui, [](const ShredProgress& p) {
    if (p.pass == 2 && p.passBytesWritten == p.fileLength) RequestAbort();
  });
  EXPECT_EQ(result.outcome, ShredOutcome::Aborted);
  EXPECT_EQ(result.leftOver, path);
  const std::string bytes = ReadBytes(path);
  EXPECT_EQ(bytes.size(), 40000u);
  EXPECT_TRUE(AllBytesAre(bytes, 0xFF));
  EXPECT_EQ(test::NamesIn(dir.path()), std::set<std::wstring>{L"brief.doc"});
  ClearAbort();

  // Esc in the middle of pass 1: the first block is overwritten, the tail is not, and the
  // flag is raised so the run stops too.
  EscAtPoll esc(2);
  EXPECT_EQ(ShredFile(path, esc).outcome, ShredOutcome::Aborted);
  EXPECT_TRUE(AbortRequested());
  const std::string afterEsc = ReadBytes(path);
  EXPECT_TRUE(AllBytesAre(std::string_view(afterEsc).substr(0, 32768), 0x00));
  EXPECT_TRUE(AllBytesAre(std::string_view(afterEsc).substr(32768), 0xFF));
  EXPECT_EQ(test::NamesIn(dir.path()), std::set<std::wstring>{L"brief.doc"});
}

TEST_F(ShredderTest, TheCallerSuppliesTheTextsAndChoosesWhatToSayAboutFailures) {
  // The question and the progress line come from the caller, in the user's language.
  const std::wstring path = dir / L"alt.txt";
  ASSERT_TRUE(WriteBytes(path, "x"));
  ASSERT_TRUE(SetAttributes(path, kAttrReadOnly));
  ShredTexts texts{L"is write-protected. Shred all?", L"Overwriting "};
  std::vector<std::wstring> lines;
  ui.answers = {MessageAnswer::No};
  EXPECT_TRUE(ShredFile(path, ui, [&](const ShredProgress& p) { lines.emplace_back(p.text); }, texts).Succeeded());
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].text, path + L"\r\nis write-protected. Shred all?");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], L"Overwriting alt.txt... 1 von 4");

  // Failures are values: which step failed, and nothing shown.
  EXPECT_EQ(ShredFile(dir / L"fehlt.txt", ui).failure, ShredFailure::NotFound);
  const std::wstring inUse = dir / L"offen.txt";
  ASSERT_TRUE(WriteBytes(inUse, "offen"));
  {
    test::LockedFile locked(inUse);
    if (locked.active()) {
      ui.answers = {MessageAnswer::No};  // where a locked file reads as write-protected
      const ShredResult r = ShredFile(inUse, ui);
      EXPECT_EQ(r.outcome, ShredOutcome::Failed);
      EXPECT_TRUE(r.failure == ShredFailure::CannotOpen || r.failure == ShredFailure::NotFound)
          << static_cast<int>(r.failure);
      EXPECT_FALSE(ShredReasonText(r).empty());
    }
  }
  EXPECT_EQ(ReadBytes(inUse), "offen");
  // The only thing ever shown is the read-only question; what went wrong is the caller's to say.
  for (const auto& shown : ui.shown) EXPECT_EQ(shown.buttons, MessageButtons::YesNoCancel) << test::U8(shown.text);
}

TEST_F(ShredderTest, RefusesWhatItMustNotOverwrite) {
  EXPECT_EQ(ShredFile(dir / L"fehlt.txt", ui).outcome, ShredOutcome::Failed);
  ASSERT_TRUE(CreateFolders(dir / L"Ordner"));
  EXPECT_EQ(ShredFile(dir / L"Ordner", ui).outcome, ShredOutcome::Failed);
  EXPECT_EQ(ShredFile(dir / L"Ordner", ui).failure, ShredFailure::NotAFile);
  EXPECT_TRUE(FolderExists(dir / L"Ordner"));
#ifndef _WIN32
  // Through a link the content of another file would be destroyed.
  const std::wstring target = dir / L"ziel.txt";
  ASSERT_TRUE(WriteBytes(target, "bleibt"));
  ASSERT_TRUE(test::MakeFolderLink(dir / L"link.txt", target));
  ShredResult link = ShredFile(dir / L"link.txt", ui);
  EXPECT_EQ(link.outcome, ShredOutcome::Failed);
  EXPECT_FALSE(link.reason.empty());
  EXPECT_EQ(ReadBytes(target), "bleibt");
#endif
}

TEST_F(ShredderTest, WorksBeyondTwoHundredSixtyCharacters) {
  std::wstring deep = dir.path();
  for (int i = 0; i < 7; ++i) deep = JoinPath(deep, std::wstring(40, static_cast<wchar_t>(L'k' + i)));
  const std::wstring path = JoinPath(deep, L"tief \u00e4.txt");
  ASSERT_GT(path.size(), 300u);
  ASSERT_TRUE(WriteBytes(path, "x"));
  EXPECT_TRUE(ShredFile(path, ui).Succeeded());
  EXPECT_TRUE(test::NamesIn(deep).empty());
}

}  // namespace
}  // namespace ablagix
