// The state of folder trees (type, permission bits, size, content hash, link target of every
// entry), and the small file-system helpers the harness needs. Names are bytes throughout.
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "conservation/harness.h"

namespace conservation {

std::uint64_t Random::Next() {  // splitmix64
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

//--- SHA-256, so that Python's hashlib can name the same contents inside archives

namespace {

constexpr std::array<std::uint32_t, 64> kRound = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5, 0xd807aa98, 0x12835b01,
    0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174, 0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc,
    0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da, 0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147,
    0x06ca6351, 0x14292967, 0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070, 0x19a4c116, 0x1e376c08,
    0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3, 0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208,
    0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t Rotate(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

void Block(std::array<std::uint32_t, 8>& h, const unsigned char* p) {
  std::uint32_t w[64];
  for (int i = 0; i < 16; ++i) {
    w[i] = static_cast<std::uint32_t>(p[4 * i]) << 24 | static_cast<std::uint32_t>(p[4 * i + 1]) << 16 |
           static_cast<std::uint32_t>(p[4 * i + 2]) << 8 | static_cast<std::uint32_t>(p[4 * i + 3]);
  }
  for (int i = 16; i < 64; ++i) {
    const std::uint32_t s0 = Rotate(w[i - 15], 7) ^ Rotate(w[i - 15], 18) ^ (w[i - 15] >> 3);
    const std::uint32_t s1 = Rotate(w[i - 2], 17) ^ Rotate(w[i - 2], 19) ^ (w[i - 2] >> 10);
    w[i] = w[i - 16] + s0 + w[i - 7] + s1;
  }
  std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], k = h[7];
  for (int i = 0; i < 64; ++i) {
    const std::uint32_t t1 = k + (Rotate(e, 6) ^ Rotate(e, 11) ^ Rotate(e, 25)) + ((e & f) ^ (~e & g)) + kRound[static_cast<size_t>(i)] + w[i];
    const std::uint32_t t2 = (Rotate(a, 2) ^ Rotate(a, 13) ^ Rotate(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    k = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e, h[5] += f, h[6] += g, h[7] += k;
}

}  // namespace

std::string Sha256(const std::string& bytes) {
  std::array<std::uint32_t, 8> h = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t full = bytes.size() / 64;
  for (size_t i = 0; i < full; ++i) Block(h, p + 64 * i);
  unsigned char tail[128] = {};
  const size_t rest = bytes.size() - 64 * full;
  std::memcpy(tail, p + 64 * full, rest);
  tail[rest] = 0x80;
  const size_t tailSize = rest < 56 ? 64 : 128;
  const std::uint64_t bits = static_cast<std::uint64_t>(bytes.size()) * 8;
  for (int i = 0; i < 8; ++i) tail[tailSize - 1 - static_cast<size_t>(i)] = static_cast<unsigned char>(bits >> (8 * i));
  Block(h, tail);
  if (tailSize == 128) Block(h, tail + 64);
  std::string hex;
  char part[9];
  for (std::uint32_t v : h) {
    std::snprintf(part, sizeof part, "%08x", v);
    hex += part;
  }
  return hex;
}

bool ReadFile(const std::string& path, std::string* bytes) {
  // Non-blocking, so that a FIFO put in a file's place cannot stop the harness.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return false;
  }
  bytes->clear();
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    bytes->append(buffer, static_cast<size_t>(n));
  }
  ::close(fd);
  return true;
}

namespace {

void Walk(const std::string& folder, const std::string& rel, const std::vector<std::string>& skip, Tree* tree) {
  DIR* dir = ::opendir(folder.c_str());
  if (!dir) return;
  std::vector<std::string> names;
  while (dirent* e = ::readdir(dir)) {
    const std::string n = e->d_name;
    if (n != "." && n != "..") names.push_back(n);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    const std::string path = folder + "/" + name;
    if (std::find(skip.begin(), skip.end(), path) != skip.end()) continue;
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) continue;
    Entry entry;
    entry.mode = st.st_mode & 07777;
    entry.size = st.st_size;
    entry.device = st.st_dev;
    entry.inode = st.st_ino;
    const std::string child = rel.empty() ? name : rel + "/" + name;
    if (S_ISREG(st.st_mode)) {
      entry.type = 'f';
      std::string bytes;
      if (ReadFile(path, &bytes)) {
        entry.size = static_cast<long long>(bytes.size());
        entry.hash = Sha256(bytes);
        entry.outside = bytes.find(kOutsideMarker) != std::string::npos;
        static const std::string kHeader = "ablagix-conservation ";
        if (StartsWith(bytes, kHeader)) {
          const size_t end = bytes.find('\n');
          if (end != std::string::npos) entry.origin = bytes.substr(kHeader.size(), end - kHeader.size());
        }
      }
    } else if (S_ISDIR(st.st_mode)) {
      entry.type = 'd';
      entry.size = 0;
    } else if (S_ISLNK(st.st_mode)) {
      entry.type = 'l';
      char target[4096];
      const ssize_t n = ::readlink(path.c_str(), target, sizeof target);
      if (n > 0) entry.link.assign(target, static_cast<size_t>(n));
    } else if (S_ISFIFO(st.st_mode)) {
      entry.type = 'p';
      entry.size = 0;
    } else {
      entry.type = 'o';
    }
    (*tree)[child] = entry;
    if (entry.type == 'd') Walk(path, child, skip, tree);
  }
}

}  // namespace

Tree Snapshot(const std::string& root, const std::vector<std::string>& skip) {
  Tree tree;
  Walk(root, "", skip, &tree);
  return tree;
}

//--- Helpers

std::string Printable(const std::string& bytes) {
  std::string out;
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t n = bytes.size();
  char hex[8];
  for (size_t i = 0; i < n;) {
    const unsigned char c = p[i];
    size_t length = 0;
    if (c >= 0x20 && c < 0x7f) {
      length = 1;
    } else if (c >= 0xc2 && c <= 0xdf) {
      length = 2;
    } else if (c >= 0xe0 && c <= 0xef) {
      length = 3;
    } else if (c >= 0xf0 && c <= 0xf4) {
      length = 4;
    }
    bool valid = length > 0 && i + length <= n;
    for (size_t k = 1; valid && k < length; ++k) valid = (p[i + k] & 0xc0) == 0x80;
    if (valid && length == 3 && c == 0xe0) valid = p[i + 1] >= 0xa0;
    if (valid && length == 3 && c == 0xed) valid = p[i + 1] < 0xa0;
    if (valid && length == 4 && c == 0xf0) valid = p[i + 1] >= 0x90;
    if (valid && length == 4 && c == 0xf4) valid = p[i + 1] < 0x90;
    if (!valid) {
      if (c == '\n') {
        out += "\\n";
      } else if (c == '\t') {
        out += "\\t";
      } else if (c == '\r') {
        out += "\\r";
      } else {
        std::snprintf(hex, sizeof hex, "\\x%02X", c);
        out += hex;
      }
      ++i;
      continue;
    }
    out.append(bytes, i, length);
    i += length;
  }
  return out;
}

bool MakeFolders(const std::string& path, mode_t mode) {
  if (path.empty()) return false;
  struct stat st {};
  if (::lstat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  const size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0 && !MakeFolders(path.substr(0, slash), 0755)) return false;
  return ::mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
}

namespace {

int RemoveOne(const char* path, const struct stat*, int flag, struct FTW*) {
  if (flag == FTW_DP || flag == FTW_D) {
    ::rmdir(path);
  } else {
    ::unlink(path);
  }
  return 0;
}

int OpenUp(const char* path, const struct stat* st, int flag, struct FTW*) {
  if (flag == FTW_D && st && (st->st_mode & 0700) != 0700) ::chmod(path, 0700);
  return 0;
}

}  // namespace

void RemoveTree(const std::string& path) {
  struct stat st {};
  if (path.empty() || ::lstat(path.c_str(), &st) != 0) return;
  if (!S_ISDIR(st.st_mode)) {
    ::unlink(path.c_str());
    return;
  }
  // Folders made read-only by a scenario are opened first (this matters when not root).
  ::nftw(path.c_str(), OpenUp, 32, FTW_PHYS);
  ::nftw(path.c_str(), RemoveOne, 32, FTW_PHYS | FTW_DEPTH);
}

dev_t DeviceOf(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 ? st.st_dev : 0;
}

std::string Join(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  if (folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool EndsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace conservation
