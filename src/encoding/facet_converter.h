// Whole-text conversion over a locale's wide code-conversion facet: loops over its in/out/unshift
// until the text is used up, and fails rather than spinning or returning part of the text.
// Private to the library; header-only so that the tests can drive it with facets of their own.
#ifndef QORSTL_SRC_ENCODING_FACET_CONVERTER_H_
#define QORSTL_SRC_ENCODING_FACET_CONVERTER_H_

#include <cstddef>
#include <cwchar>
#include <locale>
#include <string>

namespace qor {
namespace internal {

using WideCodecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

// Decodes all of `text`. False when the facet refuses a byte, stops without taking another byte,
// or ends with a sequence still pending (an answer of `partial` for the last bytes, or a state
// that is not the initial one).
inline bool FacetToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out) {
  std::mbstate_t state{};
  const char* from = text.data();
  const char* const end = from + text.size();
  std::size_t written = 0;
  std::codecvt_base::result last = std::codecvt_base::ok;
  out.clear();
  while (from != end) {
    const auto remaining = static_cast<std::size_t>(end - from);
    // A byte gives at most one element, so the output never runs short; one extra element covers
    // a facet that writes before it takes a byte.
    if (out.size() - written < remaining + 1) out.resize(written + remaining + 1);
    wchar_t* const base = &out[0];
    const char* from_next = from;
    wchar_t* to_next = base + written;
    const std::codecvt_base::result r =
        facet.in(state, from, end, from_next, base + written, base + out.size(), to_next);
    if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
    written = static_cast<std::size_t>(to_next - base);
    if (from_next == from) {
      // Facets built on the C library's zero-terminated converters may stop at a zero byte; in
      // the initial state it stands for the zero element.
      if (*from == '\0' && std::mbsinit(&state) != 0) {
        out[written++] = L'\0';
        ++from;
        last = std::codecvt_base::ok;
        continue;
      }
      return false;  // no progress: a sequence that cannot be completed
    }
    from = from_next;
    last = r;
  }
  if (last != std::codecvt_base::ok || std::mbsinit(&state) == 0) return false;
  out.resize(written);
  return true;
}

// Encodes all of `text` and closes it with the facet's return to the initial shift state. False
// when the facet refuses an element or stops without taking one although room was there.
inline bool FacetToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out) {
  std::mbstate_t state{};
  // The longest form of one character, plus a margin for a shift sequence.
  const std::size_t longest =
      static_cast<std::size_t>(facet.max_length() > 0 ? facet.max_length() : 1);
  const std::size_t one_char = longest + 16;
  const wchar_t* from = text.data();
  const wchar_t* const end = from + text.size();
  std::size_t written = 0;
  std::codecvt_base::result last = std::codecvt_base::ok;
  out.clear();
  const auto make_room = [&out, &written](std::size_t wanted) {
    if (out.size() - written < wanted)
      out.resize(written + (out.size() > wanted ? out.size() : wanted));
  };
  while (from != end) {
    // Room for every element left in its longest form: given less, a facet may answer `partial`
    // having dropped the characters that did not fit before a zero element (libc++ does).
    make_room(static_cast<std::size_t>(end - from) * longest + one_char);
    char* const base = &out[0];
    const wchar_t* from_next = from;
    char* to_next = base + written;
    const std::codecvt_base::result r =
        facet.out(state, from, end, from_next, base + written, base + out.size(), to_next);
    if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
    written = static_cast<std::size_t>(to_next - base);
    if (from_next == from) {
      // As for decoding: a facet that stops at a zero element, which in the initial state is the
      // zero byte.
      if (*from == L'\0' && std::mbsinit(&state) != 0) {
        out[written++] = '\0';
        ++from;
        last = std::codecvt_base::ok;
        continue;
      }
      return false;  // the room held a whole character, so the element cannot be encoded
    }
    from = from_next;
    last = r;
  }
  if (last != std::codecvt_base::ok) return false;
  // Back to the initial shift state; a few doublings of the room settle any `partial` answer.
  for (int attempt = 0;; ++attempt) {
    make_room(one_char << attempt);
    char* const base = &out[0];
    char* to_next = base + written;
    const std::codecvt_base::result r =
        facet.unshift(state, base + written, base + out.size(), to_next);
    if (r == std::codecvt_base::noconv) break;
    if (r == std::codecvt_base::error) return false;
    written = static_cast<std::size_t>(to_next - base);
    if (r == std::codecvt_base::ok) break;
    if (attempt == 4) return false;
  }
  out.resize(written);
  return true;
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_FACET_CONVERTER_H_
