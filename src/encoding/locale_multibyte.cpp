// Conversion in locale encodings that keep ASCII (the multibyte ones, and UTF-8 text beyond the
// standard rules): runs of 01..7F between characters go without the facet; on long texts each
// other character the facet decodes is remembered, so that it is asked once per distinct character.
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <vector>

#include "encoding/decode_kernels.h"
#include "encoding/locale_converter.h"

namespace qor {
namespace internal {
namespace {

// From this length on a text keeps a memo of its characters.
constexpr std::size_t kMemoText = 1024;
// The longest character the memo holds, and how many it holds at most.
constexpr std::size_t kMemoLongest = 4;
constexpr std::size_t kMemoLimit = std::size_t{1} << 16;

// Characters of one to four bytes, each as the facet decoded it: from the initial state to the
// initial state, one element, no zero byte. Such a character decodes alike wherever it stands
// between two characters (the state is all the facet carries from one to the next), and no memo
// entry is a prefix of another (the facet ended each where nothing more could follow).
class CharMemo {
 public:
  explicit CharMemo(std::size_t longest)
      : longest_(longest < kMemoLongest ? longest : kMemoLongest), slots_(1024) {}

  // The element of the character at p[0, avail) and its length in `length`; false when unknown.
  bool Find(const unsigned char* p, std::size_t avail, wchar_t& value, std::size_t& length) const {
    const std::size_t hinted = hint_[p[0]];
    if (hinted != 0 && Lookup(p, avail, hinted, value)) return length = hinted, true;
    for (std::size_t k = 1; k <= longest_; ++k) {
      if (k != hinted && Lookup(p, avail, k, value)) return length = k, true;
    }
    return false;
  }

  void Add(const unsigned char* p, std::size_t length, wchar_t value) {
    if (length > longest_ || count_ >= kMemoLimit) return;
    if (2 * (count_ + 1) > slots_.size()) Grow();
    Insert(Key(p, length), value);
    hint_[p[0]] = static_cast<unsigned char>(length);
  }

 private:
  struct Slot {
    std::uint64_t key = 0;  // 0: empty
    wchar_t value = 0;
  };

  // The bytes and the length, so that no two characters share a key.
  static std::uint64_t Key(const unsigned char* p, std::size_t length) {
    std::uint64_t key = length;
    for (std::size_t i = 0; i < length; ++i) key |= std::uint64_t{p[i]} << (8 * (i + 1));
    return key;
  }
  std::size_t Home(std::uint64_t key) const {
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> 32) & (slots_.size() - 1);
  }

  bool Lookup(const unsigned char* p, std::size_t avail, std::size_t length, wchar_t& value) const {
    if (length > avail) return false;
    const std::uint64_t key = Key(p, length);
    for (std::size_t i = Home(key);; i = (i + 1) & (slots_.size() - 1)) {
      if (slots_[i].key == key) return value = slots_[i].value, true;
      if (slots_[i].key == 0) return false;
    }
  }

  void Insert(std::uint64_t key, wchar_t value) {
    std::size_t i = Home(key);
    while (slots_[i].key != 0 && slots_[i].key != key) i = (i + 1) & (slots_.size() - 1);
    if (slots_[i].key == 0) ++count_;
    slots_[i] = {key, value};
  }

  void Grow() {
    std::vector<Slot> old(2 * slots_.size());
    old.swap(slots_);
    count_ = 0;
    for (const Slot& slot : old) {
      if (slot.key != 0) Insert(slot.key, slot.value);
    }
  }

  const std::size_t longest_;
  std::vector<Slot> slots_;
  std::size_t count_ = 0;
  unsigned char hint_[256] = {};  // the length last seen after each first byte
};

bool IsAscii(wchar_t c) {
  return static_cast<std::uint32_t>(c) - 1u < 0x7Fu;
}

}  // namespace

Outcome AsciiCompatibleToWide(const WideCodecvt& facet, const std::string& text,
                              std::wstring& out) {
  out.clear();
  out.reserve(text.size());
  FacetDecoder decoder(facet, out);
  std::vector<CharMemo> memo;  // one, for long texts
  if (text.size() >= kMemoText) memo.emplace_back(static_cast<std::size_t>(facet.max_length()));
  const DecodeKernels& kernels = BestDecodeKernels();
  const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = first + text.size();
  for (const unsigned char* p = first; p != end;) {
    const bool boundary = decoder.AtBoundary();
    if (boundary && *p < 0x80) {
      // ASCII, zero bytes included: each byte is its own element, as the facet loop has them.
      const std::size_t run = kernels.ascii_prefix(p, static_cast<std::size_t>(end - p));
      const std::size_t size = out.size();
      out.resize(size + run);
      wchar_t* const to = &out[size];
      for (std::size_t i = 0; i < run; ++i) to[i] = static_cast<wchar_t>(p[i]);
      p += run;
      continue;
    }
    wchar_t value = 0;
    std::size_t length = 0;
    if (boundary && !memo.empty() &&
        memo[0].Find(p, static_cast<std::size_t>(end - p), value, length)) {
      out.push_back(value);
      p += length;
      continue;
    }
    const std::size_t size = out.size();
    const char* const from = reinterpret_cast<const char*>(p);
    const char* const next = decoder.Step(from, text.data() + text.size());
    if (next == nullptr) return Outcome::kFailed;
    const auto used = static_cast<std::size_t>(next - from);
    if (boundary && !memo.empty() && out.size() == size + 1 && decoder.AtBoundary() &&
        used <= kMemoLongest && std::memchr(from, '\0', used) == nullptr) {
      memo[0].Add(p, used, out.back());
    }
    p += used;
  }
  return decoder.AtBoundary() ? Outcome::kDone : Outcome::kFailed;
}

Outcome AsciiCompatibleToNarrow(const WideCodecvt& facet, const std::wstring& text,
                                std::string& out) {
  out.clear();
  out.reserve(text.size());
  FacetEncoder encoder(facet, out);
  const wchar_t* const end = text.data() + text.size();
  for (const wchar_t* p = text.data(); p != end;) {
    const wchar_t* q = p;
    if (encoder.AtBoundary() && IsAscii(*p)) {
      while (q != end && IsAscii(*q)) ++q;
      const std::size_t size = out.size();
      out.resize(size + static_cast<std::size_t>(q - p));
      for (std::size_t i = 0; p + i != q; ++i) out[size + i] = static_cast<char>(p[i]);
    } else {
      // Up to the next ASCII element; one that follows a held character goes with it.
      for (++q; q != end && !IsAscii(*q);) ++q;
      if (!encoder.Encode(p, q)) return Outcome::kFailed;
    }
    p = q;
  }
  return encoder.Finish() ? Outcome::kDone : Outcome::kFailed;
}

}  // namespace internal
}  // namespace qor
