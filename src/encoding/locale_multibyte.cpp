// Conversion in locale encodings that keep ASCII (the multibyte ones, and UTF-8 text beyond the
// standard rules): runs of 01..7F between characters go without the facet; on long texts each
// other character the facet decodes is remembered, so that it is asked once per distinct character.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <vector>

#include "encoding/locale_converter.h"

namespace qor {
namespace internal {
namespace {

// From this length on a text keeps a memo of its characters.
constexpr std::size_t kMemoText = 1024;
// The longest character the memo holds, and how many characters of other than two bytes it holds.
constexpr std::size_t kMemoLongest = 4;
constexpr std::size_t kMemoLimit = std::size_t{1} << 16;
constexpr wchar_t kNoElement = static_cast<wchar_t>(-1);

// Characters of one to four bytes, each as the facet decoded it: from the initial state to the
// initial state, one element, no zero byte. Such a character decodes alike wherever it stands
// between two characters (the state is all the facet carries from one to the next), and no memo
// entry is a prefix of another (the facet ended each where nothing more could follow). Characters
// of two bytes, the most common, sit in pages by their first byte; the others in a hash table.
class DecodeMemo {
 public:
  explicit DecodeMemo(std::size_t longest)
      : longest_(longest < kMemoLongest ? longest : kMemoLongest), slots_(1024) {}

  // The element of the character at p[0, avail) and its length in `length`; false when unknown.
  bool Find(const unsigned char* p, std::size_t avail, wchar_t& value, std::size_t& length) const {
    const wchar_t* const page = pages_[p[0] & 0x7F].get();
    if (page != nullptr && avail >= 2 && page[p[1]] != kNoElement) {
      value = page[p[1]];
      return length = 2, true;
    }
    if (count_ == 0) return false;
    const std::size_t hinted = hint_[p[0]];
    if (hinted != 0 && Lookup(p, avail, hinted, value)) return length = hinted, true;
    for (std::size_t k = 1; k <= longest_; ++k) {
      if (k != 2 && k != hinted && Lookup(p, avail, k, value)) return length = k, true;
    }
    return false;
  }

  // `p` starts with a byte of 0x80 or above.
  void Add(const unsigned char* p, std::size_t length, wchar_t value) {
    if (value == kNoElement || length > longest_) return;
    if (length == 2) {
      std::unique_ptr<wchar_t[]>& page = pages_[p[0] & 0x7F];
      if (page == nullptr) {
        page.reset(new wchar_t[256]);
        std::fill(page.get(), page.get() + 256, kNoElement);
      }
      page[p[1]] = value;
      return;
    }
    if (count_ >= kMemoLimit) return;
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
  std::unique_ptr<wchar_t[]> pages_[128];
  std::vector<Slot> slots_;
  std::size_t count_ = 0;
  unsigned char hint_[256] = {};  // the length last seen after each first byte
};

// The encoded form of each element the facet wrote alone, from the initial state to the initial
// state, in one to four bytes: bytes << 8 | length, in pages of 256 elements; 0 for unknown.
class EncodeMemo {
 public:
  std::uint64_t Find(wchar_t c) const {
    const auto v = static_cast<std::uint32_t>(c);
    if (v > 0x10FFFF) return 0;
    const std::uint64_t* const page = pages_[v >> 8].get();
    return page == nullptr ? 0 : page[v & 0xFF];
  }

  void Add(wchar_t c, const std::string& bytes) {
    const auto v = static_cast<std::uint32_t>(c);
    if (v == 0 || v > 0x10FFFF || bytes.empty() || bytes.size() > 4) return;
    std::unique_ptr<std::uint64_t[]>& page = pages_[v >> 8];
    if (page == nullptr) page.reset(new std::uint64_t[256]());
    std::uint64_t form = bytes.size();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      form |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * (i + 1));
    }
    page[v & 0xFF] = form;
  }

 private:
  std::unique_ptr<std::uint64_t[]> pages_[0x1100];
};

bool IsAscii(wchar_t c) {
  return static_cast<std::uint32_t>(c) - 1u < 0x7Fu;
}

}  // namespace

Outcome AsciiCompatibleToWide(const WideCodecvt& facet, const std::string& text,
                              std::wstring& out) {
  std::wstring step;  // what the facet gave in its last step
  FacetDecoder decoder(facet, step);
  std::unique_ptr<DecodeMemo> memo;
  if (text.size() >= kMemoText)
    memo.reset(new DecodeMemo(static_cast<std::size_t>(facet.max_length())));
  const auto* const first = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = first + text.size();
  out.assign(text.size(), L'\0');
  std::size_t w = 0;
  bool boundary = true;  // the decoder's state, which only its own steps change
  for (const unsigned char* p = first; p != end;) {
    if (boundary) {
      // ASCII, zero bytes included, is its own element, as the facet loop has it.
      if (*p < 0x80) {
        out[w++] = static_cast<wchar_t>(*p++);
        continue;
      }
      wchar_t value = 0;
      std::size_t length = 0;
      if (memo != nullptr && memo->Find(p, static_cast<std::size_t>(end - p), value, length)) {
        out[w++] = value;
        p += length;
        continue;
      }
    }
    step.clear();
    const char* const from = reinterpret_cast<const char*>(p);
    const char* const next = decoder.Step(from, text.data() + text.size());
    if (next == nullptr) return Outcome::kFailed;
    const auto used = static_cast<std::size_t>(next - from);
    if (out.size() - w < step.size()) out.resize(w + step.size() + text.size());
    std::copy(step.begin(), step.end(), out.begin() + static_cast<std::ptrdiff_t>(w));
    w += step.size();
    const bool was_boundary = boundary;
    boundary = decoder.AtBoundary();
    if (memo != nullptr && was_boundary && boundary && step.size() == 1 && used <= kMemoLongest &&
        std::memchr(from, '\0', used) == nullptr) {
      memo->Add(p, used, step[0]);
    }
    p += used;
  }
  if (!boundary) return Outcome::kFailed;
  out.resize(w);
  return Outcome::kDone;
}

Outcome AsciiCompatibleToNarrow(const WideCodecvt& facet, const std::wstring& text,
                                std::string& out) {
  std::string step;  // what the facet wrote in its last call
  FacetEncoder encoder(facet, step);
  std::unique_ptr<EncodeMemo> memo;
  if (text.size() >= kMemoText) memo.reset(new EncodeMemo);
  out.assign(text.size() + 16, '\0');
  std::size_t w = 0;
  const auto append = [&](const char* bytes, std::size_t size) {
    if (out.size() - w < size) out.resize(2 * out.size() + size);
    std::copy(bytes, bytes + size, out.begin() + static_cast<std::ptrdiff_t>(w));
    w += size;
  };
  bool boundary = true;  // the encoder's state, which only its own calls change
  const wchar_t* const end = text.data() + text.size();
  for (const wchar_t* p = text.data(); p != end;) {
    if (boundary) {
      if (IsAscii(*p)) {
        if (out.size() == w) out.resize(2 * out.size());
        out[w++] = static_cast<char>(*p++);
        continue;
      }
      if (memo != nullptr) {
        if (std::uint64_t form = memo->Find(*p)) {
          char bytes[4];
          const auto size = static_cast<std::size_t>(form & 0xFF);
          for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(form >>= 8);
          append(bytes, size);
          ++p;
          continue;
        }
      }
    }
    // One element, to be remembered, or without a memo up to the next ASCII element; an ASCII
    // element that follows a held character goes with it.
    const wchar_t* q = p + 1;
    if (memo == nullptr) {
      while (q != end && !IsAscii(*q)) ++q;
    }
    step.clear();
    if (!encoder.Encode(p, q)) return Outcome::kFailed;
    const bool was_boundary = boundary;
    boundary = encoder.AtBoundary();
    if (memo != nullptr && was_boundary && boundary) memo->Add(*p, step);
    append(step.data(), step.size());
    p = q;
  }
  step.clear();
  if (!encoder.Finish()) return Outcome::kFailed;
  append(step.data(), step.size());
  out.resize(w);
  return Outcome::kDone;
}

}  // namespace internal
}  // namespace qor
