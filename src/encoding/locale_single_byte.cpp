// Conversion in single-byte locale encodings by a decoding and an encoding table, both probed from
// the facet at the start of the call; a byte or element the tables do not settle goes to the facet.
#include <array>
#include <cstdint>
#include <cwchar>
#include <vector>

#include "encoding/locale_converter.h"
#include "encoding/locale_simd.h"

namespace qor {
namespace internal {
namespace {

constexpr wchar_t kUnsettled = static_cast<wchar_t>(-1);
constexpr std::uint16_t kNoByte = 0xFFFF;

// Runs the facet's `in` or `out` over units[0, n), one unit a character, and calls
// settle(index, result) for each unit it converts. A refused unit is skipped (it stays unsettled)
// and the rest is converted again from the initial state. False when the facet shows a state or
// does not convert one unit to one: then the encoding is not one the tables can hold.
template <class From, class To, class Call, class Settle>
bool ProbeOneToOne(const From* units, std::size_t n, Call call, Settle settle) {
  std::array<To, 1 + 256> buffer{};
  buffer[0] = static_cast<To>('?');  // the facet writes after a non-zero guard unit
  for (std::size_t pos = 0; pos < n;) {
    std::mbstate_t state{};
    const From* next = units + pos;
    To* to_next = &buffer[1];
    const std::codecvt_base::result r =
        call(state, units + pos, units + n, next, &buffer[1], &buffer[1] + (n - pos), to_next);
    const auto used = static_cast<std::size_t>(next - (units + pos));
    if (r == std::codecvt_base::noconv || used != static_cast<std::size_t>(to_next - &buffer[1]) ||
        std::mbsinit(&state) == 0) {
      return false;
    }
    for (std::size_t i = 0; i < used; ++i) settle(pos + i, buffer[1 + i]);
    pos += used;
    if (r != std::codecvt_base::ok) ++pos;  // the unit the facet stopped at stays unsettled
  }
  return true;
}

// What each byte decodes to, kUnsettled where the facet refuses it. The zero byte is U+0000, as
// the facet loop has it.
bool ProbeDecodeTable(const WideCodecvt& facet, std::array<wchar_t, 256>& table) {
  table.fill(kUnsettled);
  table[0] = L'\0';
  char bytes[255];
  for (int b = 1; b < 256; ++b) bytes[b - 1] = static_cast<char>(b);
  return ProbeOneToOne<char, wchar_t>(
      bytes, sizeof bytes,
      [&facet](std::mbstate_t& s, const char* f, const char* fe, const char*& fn, wchar_t* t,
               wchar_t* te, wchar_t*& tn) { return facet.in(s, f, fe, fn, t, te, tn); },
      [&table](std::size_t i, wchar_t c) { table[i + 1] = c; });
}

// The byte each element of the Basic Multilingual Plane encodes to, in pages of 256 elements that
// exist only where a decoded value lies. The facet's own encoding of each decoded value is what
// counts: where two bytes decode alike, it names the one it writes.
class EncodeTable {
 public:
  EncodeTable() : pages_(2) {
    for (auto& page : pages_) page.fill(kNoByte);
    page_of_[0] = 1;  // the page of 00..FF, always there
  }

  bool Probe(const WideCodecvt& facet, const std::array<wchar_t, 256>& decode) {
    std::vector<wchar_t> values;
    for (int b = 1; b < 256; ++b) {
      const auto c = static_cast<std::uint32_t>(decode[static_cast<std::size_t>(b)]);
      if (decode[static_cast<std::size_t>(b)] != kUnsettled && c != 0 && c < 0x10000) {
        values.push_back(static_cast<wchar_t>(c));
      }
    }
    return ProbeOneToOne<wchar_t, char>(
        values.data(), values.size(),
        [&facet](std::mbstate_t& s, const wchar_t* f, const wchar_t* fe, const wchar_t*& fn,
                 char* t, char* te, char*& tn) { return facet.out(s, f, fe, fn, t, te, tn); },
        [this, &values](std::size_t i, char b) { Set(values[i], static_cast<unsigned char>(b)); });
  }

  // The byte of `c`, or kNoByte. Without a branch on the page, so that text mixing ASCII with
  // another script does not mispredict.
  std::uint16_t Find(wchar_t c) const {
    const auto v = static_cast<std::uint32_t>(c);
    if (v >= 0x10000) return kNoByte;
    return pages_[page_of_[v >> 8]][v & 0xFF];
  }

 private:
  void Set(wchar_t c, unsigned char b) {
    const auto v = static_cast<std::uint32_t>(c);
    std::uint8_t& page = page_of_[v >> 8];
    if (page == 0) {
      if (pages_.size() == 256) return;  // left to the facet
      pages_.emplace_back();
      pages_.back().fill(kNoByte);
      page = static_cast<std::uint8_t>(pages_.size() - 1);
    }
    pages_[page][v & 0xFF] = b;
  }

  // Page 0 is empty, for the pages without a value; page_of_ gives each 256 elements' page.
  std::vector<std::array<std::uint16_t, 256>> pages_;
  std::array<std::uint8_t, 256> page_of_{};
};

}  // namespace

// The text goes through a block on the stack and is appended a block at a time, so that the
// result's memory is written once.
constexpr std::size_t kBlock = 1024;

namespace {

// Decodes p[0, n) by `table` into out[0, n): blocks of 16 bytes below 0x80 are widened as they
// are where the table keeps ASCII, the rest is looked up byte by byte. False when a byte is
// unsettled (its element is then kUnsettled).
bool DecodeByTable(const std::array<wchar_t, 256>& table, bool ascii_as_itself,
                   const unsigned char* p, std::size_t n, wchar_t* out) {
  bool settled = true;
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    if (ascii_as_itself && IsAsciiBlock(p + i)) {
      WidenBytes(p + i, 16, out + i);
      continue;
    }
    for (std::size_t k = 0; k < 16; ++k) {
      out[i + k] = table[p[i + k]];
      settled &= out[i + k] != kUnsettled;
    }
  }
  for (; i < n; ++i) {
    out[i] = table[p[i]];
    settled &= out[i] != kUnsettled;
  }
  return settled;
}

}  // namespace

Outcome SingleByteToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out) {
  std::array<wchar_t, 256> table;
  if (!ProbeDecodeTable(facet, table)) return Outcome::kNotMine;
  out.clear();
  out.reserve(text.size());
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  bool identity = true;         // every byte decodes as its own value (Latin-1)
  bool ascii_as_itself = true;  // so does every byte below 0x80
  for (std::size_t b = 0; b < 256; ++b) {
    identity &= table[b] == static_cast<wchar_t>(b);
    if (b < 0x80) ascii_as_itself &= table[b] == static_cast<wchar_t>(b);
  }
  wchar_t block[kBlock];
  for (std::size_t start = 0; start < text.size(); start += kBlock) {
    const std::size_t size = text.size() - start < kBlock ? text.size() - start : kBlock;
    if (identity) {
      WidenBytes(bytes + start, size, block);
      out.append(block, size);
      continue;
    }
    if (!DecodeByTable(table, ascii_as_itself, bytes + start, size, block)) {
      for (std::size_t i = 0; i < size; ++i) {
        if (block[i] != kUnsettled) continue;
        // A byte the facet refused: it decides again, on that byte alone (no byte depends on
        // another).
        std::wstring one;
        if (!FacetToWide(facet, text.substr(start + i, 1), one)) return Outcome::kFailed;
        if (one.size() != 1) return Outcome::kNotMine;
        block[i] = one[0];
      }
    }
    out.append(block, size);
  }
  return Outcome::kDone;
}

Outcome SingleByteToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out) {
  std::array<wchar_t, 256> decode;
  EncodeTable table;
  if (!ProbeDecodeTable(facet, decode) || !table.Probe(facet, decode)) return Outcome::kNotMine;
  out.clear();
  out.reserve(text.size());
  bool identity = true;  // every value 01..FF is written as its own byte (Latin-1)
  for (wchar_t c = 1; c < 0x100; ++c) identity &= table.Find(c) == c;
  char block[kBlock];
  for (std::size_t start = 0; start < text.size(); start += kBlock) {
    const std::size_t size = text.size() - start < kBlock ? text.size() - start : kBlock;
    const std::size_t plain =
        identity ? NarrowBytes(&text[start], size, reinterpret_cast<unsigned char*>(block)) : 0;
    for (std::size_t i = plain; i < size; ++i) {
      const wchar_t c = text[start + i];
      std::uint16_t b = table.Find(c);
      if (b == kNoByte) {
        // The zero element, and those the tables lack: the facet encodes them one at a time.
        std::string one;
        if (!FacetToNarrow(facet, std::wstring(1, c), one)) return Outcome::kFailed;
        if (one.size() != 1) return Outcome::kNotMine;
        b = static_cast<unsigned char>(one[0]);
      }
      block[i] = static_cast<char>(b);
    }
    out.append(block, size);
  }
  return Outcome::kDone;
}

}  // namespace internal
}  // namespace qor
