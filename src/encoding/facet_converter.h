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
// - not avoided: glibc's TCVN5712-1 (vi_VN.TCVN) holds back each character that a combining mark
//   may follow until the next byte, and mbsnrtowcs aborts the process (an assertion) when a call
//   takes bytes and gives no element: "A" alone aborts whatever the room, and so does the standard
//   converter over the facet; "\x02\x01" aborts at its last byte. Such a held character would
//   also never come out, as nothing flushes it before a zero byte or the end. Converting each piece
//   between zero bytes in one call with a space after it (and dropping the space's element) gave
//   iconv's result without an abort on every one- and two-byte text tried.
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

// Decodes a text step by step, appending to `out`: a zero byte, a run of plain ASCII in one call,
// or one character. Each step starts where the last ended; `end` is the same for every step.
class FacetDecoder {
 public:
  FacetDecoder(const WideCodecvt& facet, std::wstring& out)
      : facet_(facet),
        out_(out),
        buffer_(1, L'?'),  // the facet writes after a non-zero guard element
        window_(4 * static_cast<std::size_t>(facet.max_length() > 0 ? facet.max_length() : 1) +
                16) {}

  // Where the next step begins; null when the facet refuses a byte, stops without taking a byte
  // or giving an element, or a sequence is pending at a zero byte.
  const char* Step(const char* from, const char* end) {
    if (*from == '\0') {
      // A zero byte inside a sequence.
      if (!AtBoundary()) return nullptr;
      out_.push_back(L'\0');
      return from + 1;
    }
    if (zero_ == nullptr || zero_ < from) {
      zero_ =
          static_cast<const char*>(std::memchr(from, '\0', static_cast<std::size_t>(end - from)));
      if (zero_ == nullptr) zero_ = end;
    }
    const char* piece_end = zero_;
    std::size_t room = 1;
    if (std::mbsinit(&state_) != 0 && IsPlainAscii(*from)) {
      const char* run_end = from;
      while (run_end != piece_end && IsPlainAscii(*run_end)) ++run_end;
      piece_end = run_end;
      room = static_cast<std::size_t>(run_end - from);
    }
    const char* next = from;
    if (room == 1 && static_cast<std::size_t>(piece_end - from) > window_) {
      // One character: the facet is shown a window of the longest character's size, or every
      // step would cost the rest of the piece. Its answer counts when the character ended inside
      // the window and left the state initial, as it would with the whole piece; otherwise the
      // step is taken again on the whole piece.
      const std::mbstate_t saved_state = state_;
      const bool saved_pending = pending_;
      const std::size_t saved_size = out_.size();
      if (Call(from, from + window_, 1, next) && next != from && next < from + window_ &&
          std::mbsinit(&state_) != 0) {
        return next;
      }
      state_ = saved_state;
      pending_ = saved_pending;
      out_.resize(saved_size);
      next = from;
    }
    if (!Call(from, piece_end, room, next)) return nullptr;
    return next;
  }

  // Between two characters: the state initial and no sequence pending. At the end of the text
  // anything else is a sequence cut short.
  bool AtBoundary() const { return std::mbsinit(&state_) != 0 && !pending_; }

 private:
  // Converts from `first` into at most `room` elements; false on a refusal or when nothing moved.
  bool Call(const char* first, const char* last, std::size_t room, const char*& next) {
    if (buffer_.size() < room + 1) buffer_.resize(room + 1);
    wchar_t* const to = &buffer_[1];
    wchar_t* to_next = to;
    const std::mbstate_t before = state_;
    next = first;
    std::codecvt_base::result r = facet_.in(state_, first, last, next, to, to + room, to_next);
    if (room == 1 && r != std::codecvt_base::error && to_next != to && next != first &&
        std::mbsinit(&state_) == 0) {
      // One element out and the state not initial: maybe a character of two elements whose second
      // is held back. Once given out alone it would stay held, so the character is converted again
      // with room for both.
      state_ = before;
      next = first;
      to_next = to;
      r = facet_.in(state_, first, last, next, to, to + 2, to_next);
    }
    if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
    // `partial` with the piece used up means a sequence left pending; short of its end, only
    // that the room is full.
    pending_ = r == std::codecvt_base::partial && next == last;
    out_.append(to, static_cast<std::size_t>(to_next - to));
    if (next == first && std::memcmp(&before, &state_, sizeof state_) == 0) return false;
    return next != first || to_next != to;  // progress
  }

  const WideCodecvt& facet_;
  std::wstring& out_;
  std::wstring buffer_;
  const std::size_t window_;
  std::mbstate_t state_{};
  bool pending_ = false;
  // The next zero byte at or after the last step (or the end), found once per zero.
  const char* zero_ = nullptr;
};

// Decodes all of `text`. False when the facet refuses a byte, stops without taking another byte or
// giving an element, or a sequence is still pending at a zero byte or at the end.
inline bool FacetToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out) {
  out.clear();
  out.reserve(text.size());
  FacetDecoder decoder(facet, out);
  const char* const end = text.data() + text.size();
  for (const char* from = text.data(); from != end;) {
    from = decoder.Step(from, end);
    if (from == nullptr) return false;
  }
  if (!decoder.AtBoundary()) return false;  // cut short
  out.shrink_to_fit();
  return true;
}

// Encodes a text range by range, appending to `out`; Finish() closes it with the return to the
// initial shift state.
class FacetEncoder {
 public:
  FacetEncoder(const WideCodecvt& facet, std::string& out)
      : facet_(facet),
        out_(out),
        longest_(static_cast<std::size_t>(facet.max_length() > 0 ? facet.max_length() : 1)),
        one_char_(2 * longest_ + 16),  // plus a margin for a shift sequence and a held character
        buffer_(1, '?') {}             // the facet writes after a non-zero guard byte

  // Encodes [from, end). False when the facet refuses an element or stops without taking one
  // although room was there.
  bool Encode(const wchar_t* from, const wchar_t* end) {
    while (from != end) {
      const wchar_t* piece_end = std::wmemchr(from, L'\0', static_cast<std::size_t>(end - from));
      piece_end = piece_end == nullptr ? end : piece_end + 1;
      if (!Convert(from, piece_end)) return false;
      from = piece_end;
    }
    return true;
  }

  // Between two characters: nothing held back and the last answer `ok`.
  bool AtBoundary() const {
    return std::mbsinit(&state_) != 0 && last_result_ == std::codecvt_base::ok;
  }

  // Back to the initial shift state, with a character still held back written out.
  bool Finish() {
    if (last_result_ != std::codecvt_base::ok && std::mbsinit(&state_) != 0) return false;
    if (!Unshift()) return false;
    if (std::mbsinit(&state_) == 0) {
      // libstdc++'s unshift does nothing and leaves a held character: a zero element brings it
      // out, followed by a zero byte, which is dropped.
      static const wchar_t kZero[] = L"";
      const std::size_t before = out_.size();
      if (!Convert(kZero, kZero + 1) || out_.size() == before || out_.back() != '\0') return false;
      out_.pop_back();
      if (std::mbsinit(&state_) == 0) return false;
    }
    return true;
  }

 private:
  char* RoomFor(std::size_t wanted) {
    if (buffer_.size() < wanted + 1) buffer_.resize(wanted + 1);
    return &buffer_[1];
  }

  // Back to the initial shift state; a few doublings of the room settle any `partial` answer.
  bool Unshift() {
    for (int attempt = 0;; ++attempt) {
      char* const to = RoomFor(one_char_ << attempt);
      char* to_next = to;
      const std::codecvt_base::result r =
          facet_.unshift(state_, to, &buffer_[0] + buffer_.size(), to_next);
      if (r == std::codecvt_base::noconv) return true;
      if (r == std::codecvt_base::error) return false;
      out_.append(to, static_cast<std::size_t>(to_next - to));
      if (r == std::codecvt_base::ok) return true;
      if (attempt == 4) return false;
    }
  }

  // Converts [first, last), which holds no zero element but maybe its last one. Room for every
  // element in its longest form: given less, a facet may answer `partial` having dropped the
  // characters that did not fit before a zero element (libc++ does).
  // The answer of the last call: `partial` with the text used up and the state initial means a
  // character taken but neither written nor held where the state shows it.
  bool Convert(const wchar_t* first, const wchar_t* last) {
    while (first != last) {
      char* const to = RoomFor(static_cast<std::size_t>(last - first) * longest_ + one_char_);
      char* to_next = to;
      const wchar_t* next = first;
      const std::codecvt_base::result r =
          facet_.out(state_, first, last, next, to, &buffer_[0] + buffer_.size(), to_next);
      if (r == std::codecvt_base::error || r == std::codecvt_base::noconv) return false;
      last_result_ = r;
      out_.append(to, static_cast<std::size_t>(to_next - to));
      if (next == first) {
        // A facet that stops at a zero element (libc++ does): it ends what is held back, then
        // stands for the zero byte.
        if (*first != L'\0' || !Unshift() || std::mbsinit(&state_) == 0) return false;
        out_.push_back('\0');
        ++first;
        last_result_ = std::codecvt_base::ok;
        continue;
      }
      first = next;
    }
    return true;
  }

  const WideCodecvt& facet_;
  std::string& out_;
  const std::size_t longest_;   // the longest form of one character
  const std::size_t one_char_;  // room for one character in any case
  std::string buffer_;
  std::mbstate_t state_{};
  std::codecvt_base::result last_result_ = std::codecvt_base::ok;
};

// Encodes all of `text` and closes it with the return to the initial shift state.
inline bool FacetToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out) {
  out.clear();
  FacetEncoder encoder(facet, out);
  return encoder.Encode(text.data(), text.data() + text.size()) && encoder.Finish();
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_FACET_CONVERTER_H_
