// Whole-text conversion over a locale's wide code-conversion facet: loops over its in/out/unshift
// until the text is used up, and fails rather than spinning or returning part of the text.
// Private to the library; header-only so that the tests can drive it with facets of their own.
//
// The facets of the C++ libraries on glibc sit on mbsnrtowcs/wcsnrtombs, and some of their paths
// misbehave; the loops below hand them only work that keeps off those paths:
// - a zero byte or element ends the C library's strings, so the facets treat it apart and may
//   write it while a sequence is still pending ("\xC3\0\xA9" would decode as 0, U+00E9). The zeros
//   are handled here, and a zero while the state is not initial is a malformed text.
// - wcsnrtombs reads the byte before its output pointer when it writes nothing, and aborts if that
//   byte is zero while a character is held back (BIG5-HKSCS holds Ê to see whether a combining
//   mark follows). The facet always writes after a non-zero guard byte of a private buffer.
// - a facet that fails part-way restarts the text with mbrtowc to find the failing byte; for a
//   character that decodes as two elements (JIS X 0213, BIG5-HKSCS), mbrtowc keeps answering the
//   held second element without taking a byte and the restart loop never ends. Decoding therefore
//   asks for one element per call, so that a failure is always the first character of its call,
//   and for two when a character turns out to have two (given out alone, the second stays held).
// - at the end, libstdc++'s unshift does nothing; a character still held back is flushed by
//   converting a zero element, whose zero byte is then dropped.
#ifndef QORSTL_SRC_ENCODING_FACET_CONVERTER_H_
#define QORSTL_SRC_ENCODING_FACET_CONVERTER_H_

#include <cstddef>
#include <cstring>
#include <cwchar>
#include <locale>
#include <string>

namespace qor {
namespace internal {

using WideCodecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

// Bytes that decode as one element each, with no error and no change of state, in the initial
// state of every locale encoding: printable ASCII and the common controls. Runs of them go to the
// facet in one call.
inline bool IsPlainAscii(char c) {
  return (c >= 0x20 && c < 0x7F) || c == '\t' || c == '\n' || c == '\r';
}

// Decodes all of `text`. False when the facet refuses a byte, stops without taking another byte or
// giving an element, or a sequence is still pending at a zero byte or at the end.
inline bool FacetToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out) {
  std::mbstate_t state{};
  const char* from = text.data();
  const char* const end = from + text.size();
  out.clear();
  out.reserve(text.size());
  // The facet writes after a non-zero guard element.
  std::wstring buffer(1, L'?');
  // Converts from `first` into at most `room` elements; false on a refusal or when nothing moved.
  // The answer of the last call: `partial` with the piece used up means a sequence left pending.
  std::codecvt_base::result last_result = std::codecvt_base::ok;
  const auto step = [&](const char* first, const char* last, std::size_t room, const char*& next) {
    if (buffer.size() < room + 1) buffer.resize(room + 1);
    wchar_t* const to = &buffer[1];
    wchar_t* to_next = to;
    const std::mbstate_t before = state;
    next = first;
    std::codecvt_base::result r = facet.in(state, first, last, next, to, to + room, to_next);
    if (room == 1 && r != std::codecvt_base::error && to_next != to && next != first &&
        std::mbsinit(&state) == 0) {
      // One element out and the state not initial: maybe a character of two elements whose second
      // is held back. Once given out alone it would stay held, so the character is converted again
      // with room for both.
      state = before;
      next = first;
      to_next = to;
      r = facet.in(state, first, last, next, to, to + 2, to_next);
    }
    if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
    last_result = r;
    out.append(to, static_cast<std::size_t>(to_next - to));
    if (next == first && std::memcmp(&before, &state, sizeof state) == 0) return false;
    return next != first || to_next != to;  // progress
  };
  const std::size_t window =
      4 * static_cast<std::size_t>(facet.max_length() > 0 ? facet.max_length() : 1) + 16;
  // The next zero byte at or after `from` (or the end), found once per zero, not once per step.
  const char* zero = nullptr;
  while (from != end) {
    if (*from == '\0') {
      // A zero byte inside a sequence.
      if (std::mbsinit(&state) == 0 || last_result != std::codecvt_base::ok) return false;
      out.push_back(L'\0');
      ++from;
      continue;
    }
    if (zero == nullptr || zero < from) {
      zero =
          static_cast<const char*>(std::memchr(from, '\0', static_cast<std::size_t>(end - from)));
      if (zero == nullptr) zero = end;
    }
    const char* piece_end = zero;
    std::size_t room = 1;
    if (std::mbsinit(&state) != 0 && IsPlainAscii(*from)) {
      const char* run_end = from;
      while (run_end != piece_end && IsPlainAscii(*run_end)) ++run_end;
      piece_end = run_end;
      room = static_cast<std::size_t>(run_end - from);
    }
    const char* next = from;
    if (room == 1 && static_cast<std::size_t>(piece_end - from) > window) {
      // One character: the facet is shown a window of the longest character's size, or every
      // step would cost the rest of the piece. Its answer counts when the character ended inside
      // the window and left the state initial, as it would with the whole piece; otherwise the
      // step is taken again on the whole piece.
      const std::mbstate_t saved_state = state;
      const std::codecvt_base::result saved_result = last_result;
      const std::size_t saved_size = out.size();
      if (step(from, from + window, 1, next) && next != from && next < from + window &&
          std::mbsinit(&state) != 0) {
        from = next;
        continue;
      }
      state = saved_state;
      last_result = saved_result;
      out.resize(saved_size);
      next = from;
    }
    if (!step(from, piece_end, room, next)) return false;
    from = next;
  }
  if (std::mbsinit(&state) == 0 || last_result != std::codecvt_base::ok) return false;  // cut short
  out.shrink_to_fit();
  return true;
}

// Encodes all of `text` and closes it with the return to the initial shift state. False when the
// facet refuses an element or stops without taking one although room was there.
inline bool FacetToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out) {
  std::mbstate_t state{};
  // The longest form of one character, plus a margin for a shift sequence and a held character.
  const std::size_t longest =
      static_cast<std::size_t>(facet.max_length() > 0 ? facet.max_length() : 1);
  const std::size_t one_char = 2 * longest + 16;
  const wchar_t* from = text.data();
  const wchar_t* const end = from + text.size();
  out.clear();
  // The facet writes after a non-zero guard byte.
  std::string buffer(1, '?');
  const auto room_for = [&buffer](std::size_t wanted) {
    if (buffer.size() < wanted + 1) buffer.resize(wanted + 1);
    return &buffer[1];
  };
  // Back to the initial shift state; a few doublings of the room settle any `partial` answer.
  const auto unshift = [&]() {
    for (int attempt = 0;; ++attempt) {
      char* const to = room_for(one_char << attempt);
      char* to_next = to;
      const std::codecvt_base::result r =
          facet.unshift(state, to, &buffer[0] + buffer.size(), to_next);
      if (r == std::codecvt_base::noconv) return true;
      if (r == std::codecvt_base::error) return false;
      out.append(to, static_cast<std::size_t>(to_next - to));
      if (r == std::codecvt_base::ok) return true;
      if (attempt == 4) return false;
    }
  };
  // Converts [first, last), which holds no zero element but maybe its last one. Room for every
  // element in its longest form: given less, a facet may answer `partial` having dropped the
  // characters that did not fit before a zero element (libc++ does).
  // The answer of the last call: `partial` with the text used up and the state initial means a
  // character taken but neither written nor held where the state shows it.
  std::codecvt_base::result last_result = std::codecvt_base::ok;
  const auto convert = [&](const wchar_t* first, const wchar_t* last) {
    while (first != last) {
      char* const to = room_for(static_cast<std::size_t>(last - first) * longest + one_char);
      char* to_next = to;
      const wchar_t* next = first;
      const std::codecvt_base::result r =
          facet.out(state, first, last, next, to, &buffer[0] + buffer.size(), to_next);
      if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
      last_result = r;
      out.append(to, static_cast<std::size_t>(to_next - to));
      if (next == first) {
        // A facet that stops at a zero element (libc++ does): it ends what is held back, then
        // stands for the zero byte.
        if (*first != L'\0' || !unshift() || std::mbsinit(&state) == 0) return false;
        out.push_back('\0');
        ++first;
        last_result = std::codecvt_base::ok;
        continue;
      }
      first = next;
    }
    return true;
  };
  while (from != end) {
    const wchar_t* piece_end = std::wmemchr(from, L'\0', static_cast<std::size_t>(end - from));
    piece_end = piece_end == nullptr ? end : piece_end + 1;
    if (!convert(from, piece_end)) return false;
    from = piece_end;
  }
  if (last_result != std::codecvt_base::ok && std::mbsinit(&state) != 0) return false;
  if (!unshift()) return false;
  if (std::mbsinit(&state) == 0) {
    // libstdc++'s unshift does nothing and leaves a held character: a zero element brings it out,
    // followed by a zero byte, which is dropped.
    static const wchar_t kZero[] = L"";
    const std::size_t before = out.size();
    if (!convert(kZero, kZero + 1) || out.size() == before || out.back() != '\0') return false;
    out.pop_back();
    if (std::mbsinit(&state) == 0) return false;
  }
  return true;
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_FACET_CONVERTER_H_
