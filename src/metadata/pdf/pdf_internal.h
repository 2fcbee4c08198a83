// The pieces of the PDF text-layer reader (metadata/pdf_text.h) shared by its files:
// objects and the lexer (lexer.cpp), stream filters (filters.cpp), fonts and character maps
// (fonts.cpp), the cross-reference and object loader (document.cpp) and the content-stream
// interpreter that turns a page into text (content.cpp).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ablagix::pdf {

// Nesting of arrays and dictionaries, and of references followed one after another. Real
// documents stay far below; a forged one must not exhaust the stack.
inline constexpr int kMaxDepth = 32;
inline constexpr std::size_t kMaxPrevChain = 64;
inline constexpr std::size_t kMaxPages = 100000;
inline constexpr int kMaxFormDepth = 8;
inline constexpr std::size_t kMaxOperands = 64;
inline constexpr std::size_t kMaxCMapEntries = 500000;

//--- Objects

struct Obj {
  enum Kind { kNull, kBool, kNumber, kName, kString, kArray, kDict, kRef, kStream, kOperator };
  Kind kind = kNull;
  double number = 0;
  std::string text;  // name, string bytes or operator
  std::vector<std::string> keys;
  std::vector<Obj> items;  // array items, or dictionary values beside `keys`
  int refNumber = 0;
  std::string_view streamData;  // the raw bytes of a stream, inside the file

  bool IsName(std::string_view name) const { return kind == kName && text == name; }
  const Obj* Get(std::string_view key) const {
    if (kind != kDict && kind != kStream) return nullptr;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == key) return &items[i];
    }
    return nullptr;
  }
};

// The object a missing key or a broken reference resolves to.
extern const Obj kNullObj;

inline bool IsWhite(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }

inline bool IsDelimiter(char c) {
  return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' || c == '}' || c == '/' ||
         c == '%';
}

inline bool IsRegular(char c) { return !IsWhite(c) && !IsDelimiter(c); }

inline int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads objects from PDF syntax: the file itself, object streams, content streams and CMaps.
// Every call either moves forward or reports the end, so loops over it always finish.
class Lexer {
 public:
  explicit Lexer(std::string_view data, std::size_t at = 0) : data_(data), pos_(std::min(at, data.size())) {}

  std::size_t pos() const { return pos_; }
  void set_pos(std::size_t at) { pos_ = std::min(at, data_.size()); }
  bool AtEnd();
  void SkipSpace();

  // A non-negative whole number; false (and nothing read) when there is none.
  bool ReadUnsigned(long long* value);
  bool ReadKeyword(std::string_view word);

  // The next object; false at the end or on a structure cut off by the end.
  bool Read(Obj* out, int depth = 0);

 private:
  // Words that never occur inside an array or dictionary: an object cut short runs into the
  // next one, and reading stops there rather than swallowing the rest of the file.
  static bool IsStructureKeyword(const Obj& o);
  bool ReadNumberOrRef(Obj* out);
  bool ReadName(Obj* out);
  bool ReadLiteral(Obj* out);
  bool ReadHex(Obj* out);
  bool ReadArray(Obj* out, int depth);
  bool ReadDict(Obj* out, int depth);

  std::string_view data_;
  std::size_t pos_;
};

//--- Stream filters

// Inflates zlib data up to `limit` bytes. A stream damaged partway keeps what came before
// the damage; streams written without the zlib header are accepted too.
bool Inflate(std::string_view in, std::size_t limit, std::string* out);

// ASCIIHexDecode and ASCII85Decode.
std::string AsciiHex(std::string_view in);
std::string Ascii85(std::string_view in);

// A number object as a whole number; `fallback` for anything else.
int NumberOr(const Obj* o, int fallback);

// Undoes the PNG and TIFF predictors that cross-reference streams use to compress better.
std::string Unpredict(std::string data, const Obj* parms);

//--- Fonts

struct CodeRange {
  std::size_t bytes;
  std::uint32_t low, high;
};

struct Font {
  bool composite = false;  // Type0: multi-byte codes
  bool hasToUnicode = false;
  std::vector<CodeRange> codespace;
  std::unordered_map<std::uint32_t, std::u16string> toUnicode;
  std::array<char16_t, 256> simple{};
  std::vector<double> widths;  // in units of the size (the font's thousandths divided once), from firstChar on
  int firstChar = 0;
};

// The character of a WinAnsi (Windows-1252) code.
char16_t WinAnsiChar(unsigned char code);
// The character a glyph name stands for; 0 when the name is unknown.
char16_t GlyphChar(std::string_view name);
// A code of one to four bytes as a number, first byte highest.
std::uint32_t CodeOf(std::string_view bytes);
std::u16string Utf16Be(std::string_view bytes);
// The bfchar and bfrange entries of a ToUnicode CMap and its code space.
// `budget` counts the entries of all maps of a document, so many large maps cannot add up.
void ReadToUnicode(std::string_view cmap, Font* font, std::size_t* budget);

//--- The document

struct XrefEntry {
  bool compressed = false;
  std::uint64_t offset = 0;  // in the file, or the object stream's number
  std::uint32_t index = 0;   // place in the object stream
};

struct ObjectStream {
  std::string data;
  std::vector<std::pair<int, std::size_t>> objects;  // number and offset in `data`
};

struct TextState;

class Document {
 public:
  Document(std::string_view file, std::size_t limit) : file_(file), budget_(limit), limit_(limit) {}

  // False for no PDF, or an encrypted one.
  bool Open();
  // `onPage` (optional) gets what each page adds to the text and returns false to stop.
  std::u16string Text(const std::function<bool(std::u16string_view)>* onPage = nullptr);
  // The string bytes of one entry of the document information; empty when there is none.
  std::string InfoString(std::string_view key) {
    const Obj* value = Resolve(Resolve(trailer_.Get("Info"))->Get(key));
    return value->kind == Obj::kString ? value->text : std::string();
  }

 private:
  // Loading objects.
  bool ReadXrefAt(std::size_t offset, std::set<std::size_t>* seen, int depth);
  bool ReadXrefTable(Lexer& lexer, Obj* trailer);
  bool ReadXrefStream(const Obj& stream);
  void MergeTrailer(const Obj& dict);
  void ScanObjects();
  const Obj* Load(int number, int depth);
  bool ParseAt(std::size_t offset, int number, int depth, Obj* out);
  const Obj* FromObjectStream(int streamNumber, std::uint32_t index, int number, int depth);
  const Obj* Resolve(const Obj* o, int depth = 0);
  std::optional<std::string> StreamBytes(const Obj& stream);

  // Pages and their content.
  void CollectPages(const Obj* node, const Obj* resources, std::set<int>* visited, int depth);
  const Font* FontFor(const Obj* resources, std::string_view name);

  // The content interpreter: runs a page's (or form's) operators and appends its text.
  void RunContent(std::string_view content, const Obj* resources, int formDepth);
  void RunForm(const Obj* resources, const std::string& name, int formDepth);
  void ShowArray(TextState& state, const Obj& array);
  void ShowString(TextState& state, std::string_view bytes);
  void PlaceText(const TextState& state, double em);

  std::string_view file_;
  std::size_t budget_;  // bytes that decoding may still produce
  std::size_t limit_;
  std::unordered_map<int, XrefEntry> xref_;
  std::unordered_map<int, std::size_t> scanned_;
  std::vector<std::size_t> objectStarts_;  // every "n g obj" found by the scan, in file order
  bool scannedDone_ = false;
  Obj trailer_;
  std::unordered_map<int, Obj> cache_;
  std::set<int> loading_;
  std::unordered_map<int, ObjectStream> objectStreams_;
  std::map<const Obj*, Font> fonts_;
  std::size_t cmapEntries_ = 0;
  std::vector<std::pair<const Obj*, const Obj*>> pages_;  // page dictionary and its resources

  // Text state while content runs.
  std::u16string out_;
  bool havePrevious_ = false;
  double previousY_ = 0, previousEndX_ = 0;
  // The string being shown, decoded and cleaned; kept so that their room is allocated once.
  std::u16string shown_;
  std::u16string clean_;
};

}  // namespace ablagix::pdf
