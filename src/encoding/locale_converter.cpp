// The choice of path for a conversion through a locale's facet, the probes that justify it, and the
// path of the UTF-8 locales (the library's own strict coders).
#include "encoding/locale_converter.h"

#include <cwchar>

#include "encoding/unicode_coders.h"

namespace qor {
namespace internal {
namespace {

// Below this many units a text goes straight to the facet loop: a probe would cost more than the
// calls it saves.
constexpr std::size_t kShortText = 64;

bool IsSingleByte(const WideCodecvt& facet) {
  return facet.encoding() == 1 && facet.max_length() == 1;
}

// One character of each UTF-8 length beyond one byte, as the facet decodes and encodes them.
const char kUtf8Probe[] = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
const wchar_t kUtf8ProbeWide[] = {0xE9, 0x20AC, 0x1F600};

// Whether the facet reads and writes UTF-8: the standard forms of the probe characters, through
// the facet loop (one character a call). Where the platform's converter accepts more than the
// standard rules (five- and six-byte forms, values above 0x10FFFF), those texts fail our coders
// and go to the facet.
bool DecodesLikeUtf8(const WideCodecvt& facet) {
  if (facet.max_length() < 4) return false;
  std::wstring wide;
  return FacetToWide(facet, kUtf8Probe, wide) &&
         wide == std::wstring(std::begin(kUtf8ProbeWide), std::end(kUtf8ProbeWide));
}

bool EncodesLikeUtf8(const WideCodecvt& facet) {
  if (facet.max_length() < 4) return false;
  std::string bytes;
  return FacetToNarrow(facet, std::wstring(std::begin(kUtf8ProbeWide), std::end(kUtf8ProbeWide)),
                       bytes) &&
         bytes == kUtf8Probe;
}

}  // namespace

// The bytes 01..7F in one call: no byte of them can leave a character pending in an encoding
// that keeps ASCII, so the facet's restart after a refusal walks one-byte characters only.
bool DecodesAsciiAsItself(const WideCodecvt& facet) {
  char bytes[0x7F];
  wchar_t wide[1 + 0x7F] = {L'?'};  // the facet writes after a non-zero guard element
  for (int b = 1; b < 0x80; ++b) bytes[b - 1] = static_cast<char>(b);
  std::mbstate_t state{};
  const char* next = bytes;
  wchar_t* to_next = wide + 1;
  const std::codecvt_base::result r =
      facet.in(state, bytes, bytes + 0x7F, next, wide + 1, wide + 1 + 0x7F, to_next);
  if (r != std::codecvt_base::ok || next != bytes + 0x7F || to_next != wide + 1 + 0x7F ||
      std::mbsinit(&state) == 0) {
    return false;
  }
  for (int b = 1; b < 0x80; ++b) {
    if (wide[b] != static_cast<wchar_t>(b)) return false;
  }
  return true;
}

bool EncodesAsciiAsItself(const WideCodecvt& facet) {
  std::wstring wide;
  for (wchar_t c = 1; c < 0x80; ++c) wide.push_back(c);
  std::string bytes;
  if (!FacetToNarrow(facet, wide, bytes) || bytes.size() != wide.size()) return false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (static_cast<wchar_t>(bytes[i]) != wide[i]) return false;
  }
  return true;
}

bool LocaleToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out) {
  if (text.size() >= kShortText) {
    Outcome outcome = Outcome::kNotMine;
    if (IsSingleByte(facet)) {
      outcome = SingleByteToWide(facet, text, out);
    } else if (DecodesAsciiAsItself(facet)) {
      // UTF-8 text beyond the standard rules goes the multibyte way: only the facet knows what it
      // makes of it.
      outcome = DecodesLikeUtf8(facet) && Utf8ToCodePoints(text, out)
                    ? Outcome::kDone
                    : AsciiCompatibleToWide(facet, text, out);
    }
    if (outcome != Outcome::kNotMine) return outcome == Outcome::kDone;
  }
  return FacetToWide(facet, text, out);
}

bool LocaleToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out) {
  if (text.size() >= kShortText) {
    Outcome outcome = Outcome::kNotMine;
    if (IsSingleByte(facet)) {
      outcome = SingleByteToNarrow(facet, text, out);
    } else if (EncodesAsciiAsItself(facet)) {
      outcome = EncodesLikeUtf8(facet) && CodePointsToUtf8(text, out)
                    ? Outcome::kDone
                    : AsciiCompatibleToNarrow(facet, text, out);
    }
    if (outcome != Outcome::kNotMine) return outcome == Outcome::kDone;
  }
  return FacetToNarrow(facet, text, out);
}

}  // namespace internal
}  // namespace qor
