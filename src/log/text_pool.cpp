#include "log/text_pool.h"

#include <limits>
#include <stdexcept>

#include "base/text.h"

namespace ablagix {
namespace {

constexpr std::size_t kInitialSlots = 64;

// FNV-1a over the code units.
std::uint32_t HashOf(std::u16string_view text) {
  std::uint32_t hash = 2166136261u;
  for (char16_t unit : text) {
    hash ^= static_cast<std::uint32_t>(unit);
    hash *= 16777619u;
  }
  return hash;
}

}  // namespace

TextPool::TextPool() { Clear(); }

void TextPool::Clear() {
  chars_.Clear();
  entries_.clear();
  slots_.assign(kInitialSlots, 0);
  // "" is entered like any other text, so looking it up finds id 0.
  std::u16string_view empty;
  std::uint32_t hash = HashOf(empty);
  entries_.push_back({0, 0, hash});
  slots_[SlotFor(hash, empty)] = 1;
}

std::size_t TextPool::SlotFor(std::uint32_t hash, std::u16string_view text) const {
  std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  while (slots_[slot] != 0) {
    const Entry& entry = entries_[slots_[slot] - 1];
    if (entry.hash == hash && View(slots_[slot] - 1) == text) break;
    slot = (slot + 1) & mask;
  }
  return slot;
}

void TextPool::Grow() {
  std::vector<Id> bigger(slots_.size() * 2, 0);
  std::size_t mask = bigger.size() - 1;
  for (Id id = 0; id < entries_.size(); ++id) {
    std::size_t slot = entries_[id].hash & mask;
    while (bigger[slot] != 0) slot = (slot + 1) & mask;
    bigger[slot] = id + 1;
  }
  slots_.swap(bigger);
}

TextPool::Id TextPool::Intern(std::u16string_view text) {
  if (text.empty()) return kEmpty;
  std::uint32_t hash = HashOf(text);
  std::size_t slot = SlotFor(hash, text);
  if (slots_[slot] != 0) return slots_[slot] - 1;

  if (entries_.size() >= std::numeric_limits<Id>::max() - 1 ||
      text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("TextPool: too many texts");
  }
  Id id = static_cast<Id>(entries_.size());
  std::uint32_t position = chars_.Append(text);
  entries_.push_back({position, static_cast<std::uint32_t>(text.size()), hash});
  slots_[slot] = id + 1;
  if (entries_.size() * 2 > slots_.size()) Grow();
  return id;
}

TextPool::Id TextPool::Intern(std::wstring_view text) {
  if (text.empty()) return kEmpty;
  thread_local std::u16string units;
  ToUtf16Exact(text, &units);
  return Intern(std::u16string_view(units));
}

std::u16string_view TextPool::View(Id id) const {
  const Entry& entry = entries_[id];
  return chars_.View(entry.position, entry.length);
}

std::size_t TextPool::MemoryBytes() const {
  return chars_.MemoryBytes() + entries_.capacity() * sizeof(Entry) +
         slots_.capacity() * sizeof(Id);
}

}  // namespace ablagix
