#include "metadata/pdf/pdf_internal.h"

#include <algorithm>

namespace ablagix::pdf {

void Document::MergeTrailer(const Obj& dict) {
  if (trailer_.kind != Obj::kDict) {
    trailer_ = Obj();
    trailer_.kind = Obj::kDict;
  }
  for (std::size_t i = 0; i < dict.keys.size(); ++i) {
    if (trailer_.Get(dict.keys[i]) == nullptr) {
      trailer_.keys.push_back(dict.keys[i]);
      trailer_.items.push_back(dict.items[i]);
    }
  }
}

bool Document::ReadXrefTable(Lexer& lexer, Obj* trailer) {
  for (;;) {
    long long first = 0;
    long long count = 0;
    if (!lexer.ReadUnsigned(&first)) break;
    if (!lexer.ReadUnsigned(&count)) return false;
    for (long long i = 0; i < count; ++i) {
      long long offset = 0;
      long long generation = 0;
      if (!lexer.ReadUnsigned(&offset) || !lexer.ReadUnsigned(&generation)) return false;
      const bool inUse = lexer.ReadKeyword("n");
      if (!inUse && !lexer.ReadKeyword("f")) return false;
      const long long number = first + i;
      if (inUse && number < (1 << 24) && offset > 0) xref_.try_emplace(static_cast<int>(number), XrefEntry{false, static_cast<std::uint64_t>(offset), 0});
    }
  }
  return lexer.ReadKeyword("trailer") && lexer.Read(trailer) && trailer->kind == Obj::kDict;
}

bool Document::ReadXrefStream(const Obj& stream) {
  const Obj* w = stream.Get("W");
  if (w == nullptr || w->kind != Obj::kArray || w->items.size() < 3) return false;
  std::array<std::size_t, 3> widths{};
  for (std::size_t i = 0; i < 3; ++i) widths[i] = static_cast<std::size_t>(std::clamp(NumberOr(&w->items[i], 0), 0, 8));
  const std::size_t entrySize = widths[0] + widths[1] + widths[2];
  const std::optional<std::string> data = StreamBytes(stream);
  if (!data || entrySize == 0) return false;
  std::vector<std::pair<long long, long long>> sections;
  const Obj* index = stream.Get("Index");
  if (index != nullptr && index->kind == Obj::kArray) {
    for (std::size_t i = 0; i + 1 < index->items.size(); i += 2) {
      sections.emplace_back(NumberOr(&index->items[i], 0), NumberOr(&index->items[i + 1], 0));
    }
  } else {
    sections.emplace_back(0, NumberOr(stream.Get("Size"), 0));
  }
  std::size_t at = 0;
  auto field = [&](std::size_t width, std::uint64_t fallback) {
    if (width == 0) return fallback;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = (value << 8) | static_cast<unsigned char>((*data)[at++]);
    return value;
  };
  for (const auto& [first, count] : sections) {
    for (long long i = 0; i < count && at + entrySize <= data->size(); ++i) {
      const std::uint64_t type = field(widths[0], 1);
      const std::uint64_t second = field(widths[1], 0);
      const std::uint64_t third = field(widths[2], 0);
      const long long number = first + i;
      if (number >= (1 << 24)) break;
      if (type == 1 && second > 0) {
        xref_.try_emplace(static_cast<int>(number), XrefEntry{false, second, 0});
      } else if (type == 2 && second < (1u << 24)) {
        xref_.try_emplace(static_cast<int>(number), XrefEntry{true, second, static_cast<std::uint32_t>(third)});
      }
    }
  }
  MergeTrailer(stream);
  return true;
}

// One cross-reference section and, through /Prev, the older ones; the newest entry of an
// object wins because older sections only fill what is still missing.
bool Document::ReadXrefAt(std::size_t offset, std::set<std::size_t>* seen, int depth) {
  if (offset >= file_.size() || seen->size() >= kMaxPrevChain || !seen->insert(offset).second) return false;
  Lexer lexer(file_, offset);
  const Obj* previous = nullptr;
  Obj section;
  if (lexer.ReadKeyword("xref")) {
    if (!ReadXrefTable(lexer, &section)) return false;
    // A hybrid file lists its compressed objects in an extra stream.
    if (const Obj* stm = section.Get("XRefStm"); stm && stm->kind == Obj::kNumber && stm->number >= 0 &&
                                                stm->number < static_cast<double>(file_.size())) {
      ReadXrefAt(static_cast<std::size_t>(stm->number), seen, depth + 1);
    }
    MergeTrailer(section);
    previous = section.Get("Prev");
  } else {
    Obj stream;
    long long number = 0;
    long long generation = 0;
    if (!lexer.ReadUnsigned(&number) || !lexer.ReadUnsigned(&generation)) return false;
    if (!ParseAt(offset, static_cast<int>(number), depth, &stream) || stream.kind != Obj::kStream ||
        !stream.Get("Type") || !stream.Get("Type")->IsName("XRef")) {
      return false;
    }
    section = stream;
    if (!ReadXrefStream(section)) return false;
    previous = section.Get("Prev");
  }
  if (previous && previous->kind == Obj::kNumber && previous->number >= 0 &&
      previous->number < static_cast<double>(file_.size()) && depth < kMaxDepth) {
    ReadXrefAt(static_cast<std::size_t>(previous->number), seen, depth + 1);
  }
  return true;
}

// Finds "n g obj" everywhere in the file, for files whose cross-reference data is missing or
// points to the wrong places. A later definition of the same number is the newer one.
void Document::ScanObjects() {
  if (scannedDone_) return;
  scannedDone_ = true;
  for (std::size_t at = file_.find("obj"); at != std::string_view::npos; at = file_.find("obj", at + 3)) {
    if (at + 3 < file_.size() && IsRegular(file_[at + 3])) continue;
    std::size_t p = at;
    auto skipBackWhite = [&] {
      const std::size_t start = p;
      while (p > 0 && IsWhite(file_[p - 1])) --p;
      return p < start;
    };
    auto skipBackDigits = [&] {
      const std::size_t start = p;
      while (p > 0 && IsDigit(file_[p - 1])) --p;
      return p < start;
    };
    if (!skipBackWhite() || !skipBackDigits() || !skipBackWhite() || !skipBackDigits()) continue;
    if (p > 0 && IsRegular(file_[p - 1])) continue;
    long long number = 0;
    Lexer lexer(file_, p);
    if (lexer.ReadUnsigned(&number) && number < (1 << 24)) {
      scanned_[static_cast<int>(number)] = p;
      objectStarts_.push_back(p);
    }
  }
  // Trailers that survived give the catalogue; otherwise it is found by its type.
  int tries = 0;
  for (std::size_t at = file_.rfind("trailer"); at != std::string_view::npos && trailer_.Get("Root") == nullptr &&
                                                 ++tries <= 16;
       at = at == 0 ? std::string_view::npos : file_.rfind("trailer", at - 1)) {
    Lexer lexer(file_, at + 7);
    Obj dict;
    if (lexer.Read(&dict) && dict.kind == Obj::kDict) MergeTrailer(dict);
  }
  auto setRoot = [&](int number) {
    Obj dict;
    dict.kind = Obj::kDict;
    dict.keys.push_back("Root");
    dict.items.emplace_back();
    dict.items.back().kind = Obj::kRef;
    dict.items.back().refNumber = number;
    MergeTrailer(dict);
  };
  std::vector<std::pair<int, std::size_t>> found(scanned_.begin(), scanned_.end());
  std::sort(found.begin(), found.end());
  std::vector<int> packed;
  for (const auto& [number, offset] : found) {
    Obj o;
    if (!ParseAt(offset, number, 0, &o)) continue;
    const Obj* type = o.Get("Type");
    if (type == nullptr) continue;
    if (type->IsName("Catalog") && trailer_.Get("Root") == nullptr) {
      setRoot(number);
    } else if (type->IsName("XRef")) {
      MergeTrailer(o);  // a cross-reference stream's dictionary is a trailer
    } else if (type->IsName("ObjStm")) {
      // The objects inside an object stream have no "obj" of their own.
      FromObjectStream(number, 0, -1, 0);
      if (auto it = objectStreams_.find(number); it != objectStreams_.end()) {
        for (std::size_t i = 0; i < it->second.objects.size(); ++i) {
          const int inner = it->second.objects[i].first;
          if (xref_.try_emplace(inner, XrefEntry{true, static_cast<std::uint64_t>(number), static_cast<std::uint32_t>(i)})
                  .second) {
            packed.push_back(inner);
          }
        }
      }
    }
  }
  for (std::size_t i = 0; i < packed.size() && trailer_.Get("Root") == nullptr; ++i) {
    const Obj* o = Load(packed[i], 0);
    if (o != nullptr && Resolve(o->Get("Type"))->IsName("Catalog")) setRoot(packed[i]);
  }
}

// Parses "n g obj ... endobj" at `offset`; a stream's bytes are found by /Length or, when that
// is wrong, by the next "endstream".
bool Document::ParseAt(std::size_t offset, int number, int depth, Obj* out) {
  // Once the file has been scanned, an object ends where the next one starts at the latest;
  // damaged objects then cannot make every read run through the rest of the file.
  std::size_t bound = file_.size();
  if (auto next = std::upper_bound(objectStarts_.begin(), objectStarts_.end(), offset); next != objectStarts_.end()) {
    bound = *next;
  }
  const std::string_view file = file_.substr(0, bound);
  Lexer lexer(file, offset);
  long long n = 0;
  long long generation = 0;
  if (!lexer.ReadUnsigned(&n) || (number >= 0 && n != number) || !lexer.ReadUnsigned(&generation) ||
      !lexer.ReadKeyword("obj")) {
    return false;
  }
  if (!lexer.Read(out) || out->kind == Obj::kOperator) return false;
  if (out->kind != Obj::kDict || !lexer.ReadKeyword("stream")) return true;
  std::size_t start = lexer.pos();
  if (start < file_.size() && file_[start] == '\r') ++start;
  if (start < file_.size() && file_[start] == '\n') ++start;
  std::size_t end = std::string_view::npos;
  const Obj* length = out->Get("Length");
  if (length && length->kind == Obj::kRef && loading_.count(length->refNumber) == 0) length = Resolve(length, depth + 1);
  if (length && length->kind == Obj::kNumber && length->number >= 0 && length->number <= static_cast<double>(file_.size() - start)) {
    const std::size_t candidate = start + static_cast<std::size_t>(length->number);
    Lexer after(file_, candidate);
    if (after.ReadKeyword("endstream")) end = candidate;
  }
  if (end == std::string_view::npos) {
    end = file.find("endstream", start);
    if (end == std::string_view::npos) end = std::max(start, file.size());
    if (end > start && file_[end - 1] == '\n') --end;
    if (end > start && file_[end - 1] == '\r') --end;
  }
  out->kind = Obj::kStream;
  out->streamData = file_.substr(start, end - start);
  return true;
}

const Obj* Document::FromObjectStream(int streamNumber, std::uint32_t index, int number, int depth) {
  auto it = objectStreams_.find(streamNumber);
  if (it == objectStreams_.end()) {
    ObjectStream parsed;
    const Obj* stream = Load(streamNumber, depth + 1);
    if (stream && stream->kind == Obj::kStream) {
      if (std::optional<std::string> data = StreamBytes(*stream)) {
        parsed.data = std::move(*data);
        const int count = std::min(NumberOr(stream->Get("N"), 0), 1000000);
        const std::size_t first = static_cast<std::size_t>(NumberOr(stream->Get("First"), 0));
        Lexer header(parsed.data);
        for (int i = 0; i < count; ++i) {
          long long n = 0;
          long long offset = 0;
          if (!header.ReadUnsigned(&n) || !header.ReadUnsigned(&offset) || n >= (1 << 24)) break;
          parsed.objects.emplace_back(static_cast<int>(n), first + static_cast<std::size_t>(offset));
        }
      }
    }
    it = objectStreams_.emplace(streamNumber, std::move(parsed)).first;
  }
  if (number < 0) return nullptr;
  const ObjectStream& stream = it->second;
  std::size_t place = index;
  if (place >= stream.objects.size() || stream.objects[place].first != number) {
    place = stream.objects.size();
    for (std::size_t i = 0; i < stream.objects.size(); ++i) {
      if (stream.objects[i].first == number) place = i;
    }
    if (place == stream.objects.size()) return nullptr;
  }
  Lexer lexer(stream.data, stream.objects[place].second);
  Obj o;
  if (!lexer.Read(&o) || o.kind == Obj::kOperator) return nullptr;
  return &cache_.emplace(number, std::move(o)).first->second;
}

const Obj* Document::Load(int number, int depth) {
  if (auto it = cache_.find(number); it != cache_.end()) return &it->second;
  if (depth > kMaxDepth || !loading_.insert(number).second) return nullptr;
  const Obj* result = nullptr;
  if (auto entry = xref_.find(number); entry != xref_.end()) {
    const XrefEntry e = entry->second;
    if (e.compressed) {
      if (e.offset != static_cast<std::uint64_t>(number)) {
        result = FromObjectStream(static_cast<int>(e.offset), e.index, number, depth);
      }
    } else if (e.offset < file_.size()) {
      Obj o;
      if (ParseAt(static_cast<std::size_t>(e.offset), number, depth, &o)) {
        result = &cache_.emplace(number, std::move(o)).first->second;
      }
    }
  }
  if (result == nullptr) {
    ScanObjects();
    if (auto it = cache_.find(number); it != cache_.end()) {
      result = &it->second;
    } else if (auto found = scanned_.find(number); found != scanned_.end()) {
      Obj o;
      if (ParseAt(found->second, number, depth, &o)) result = &cache_.emplace(number, std::move(o)).first->second;
    }
  }
  loading_.erase(number);
  return result;
}

const Obj* Document::Resolve(const Obj* o, int depth) {
  for (int hops = 0; o != nullptr && o->kind == Obj::kRef && hops < 8; ++hops) o = Load(o->refNumber, depth + 1);
  return o == nullptr || o->kind == Obj::kRef ? &kNullObj : o;
}

std::optional<std::string> Document::StreamBytes(const Obj& stream) {
  std::string data(stream.streamData.substr(0, budget_));
  const Obj* filter = Resolve(stream.Get("Filter"));
  const Obj* parms = Resolve(stream.Get("DecodeParms"));
  std::vector<std::pair<const Obj*, const Obj*>> steps;
  if (filter->kind == Obj::kName) {
    steps.emplace_back(filter, parms);
  } else if (filter->kind == Obj::kArray) {
    for (std::size_t i = 0; i < filter->items.size(); ++i) {
      const Obj* p = parms->kind == Obj::kArray && i < parms->items.size() ? Resolve(&parms->items[i]) : nullptr;
      steps.emplace_back(Resolve(&filter->items[i]), p);
    }
  }
  for (const auto& [step, stepParms] : steps) {
    const std::string& name = step->text;
    if (name == "FlateDecode" || name == "Fl") {
      std::string inflated;
      if (!Inflate(data, budget_, &inflated)) return std::nullopt;
      data = Unpredict(std::move(inflated), stepParms && stepParms->kind == Obj::kDict ? stepParms : nullptr);
    } else if (name == "ASCIIHexDecode" || name == "AHx") {
      data = AsciiHex(data);
    } else if (name == "ASCII85Decode" || name == "A85") {
      data = Ascii85(data);
    } else {
      return std::nullopt;  // pictures (DCT, JBIG2, CCITT) and rare compressions hold no text
    }
    if (data.size() > budget_) data.resize(budget_);
  }
  budget_ -= data.size();
  return data;
}

bool Document::Open() {
  const std::size_t header = file_.substr(0, 1024).find("%PDF-");
  if (header == std::string_view::npos) return false;
  const std::size_t startxref = file_.rfind("startxref");
  bool haveXref = false;
  if (startxref != std::string_view::npos) {
    Lexer lexer(file_, startxref + 9);
    long long offset = 0;
    std::set<std::size_t> seen;
    if (lexer.ReadUnsigned(&offset)) {
      haveXref = ReadXrefAt(static_cast<std::size_t>(offset), &seen, 0);
      // Junk before the header shifts every offset.
      if (!haveXref && header > 0) haveXref = ReadXrefAt(static_cast<std::size_t>(offset) + header, &seen, 0);
    }
  }
  if (!haveXref || trailer_.Get("Root") == nullptr) ScanObjects();
  return trailer_.Get("Encrypt") == nullptr;
}

void Document::CollectPages(const Obj* node, const Obj* resources, std::set<int>* visited, int depth) {
  if (depth > kMaxDepth || pages_.size() >= kMaxPages) return;
  if (const Obj* own = node->Get("Resources")) resources = Resolve(own);
  const Obj* kids = Resolve(node->Get("Kids"));
  if (kids->kind != Obj::kArray) {
    if (node->kind == Obj::kDict) pages_.emplace_back(node, resources);
    return;
  }
  for (const Obj& kid : kids->items) {
    if (kid.kind == Obj::kRef && !visited->insert(kid.refNumber).second) continue;  // a loop
    const Obj* page = Resolve(&kid);
    if (page->kind == Obj::kDict) CollectPages(page, resources, visited, depth + 1);
  }
}

}  // namespace ablagix::pdf
