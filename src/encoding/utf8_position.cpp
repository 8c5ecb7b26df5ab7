// Where a text stops being UTF-8: the position of its first malformed sequence, under the standard
// rules or under the codec's 31-bit rules.
#include <cstdint>
#include <string>

#include "encoding/utf8_rules.h"
#include "qor/qorstl.h"

using namespace qor::internal;

namespace {

// Length of the well-formed standard sequence at p (at most 4 bytes, no overlong form, no
// surrogate, nothing above 0x10FFFF), or 0 when the sequence there is malformed.
unsigned StandardSequence(const unsigned char* p, std::size_t left) {
  const unsigned char b = p[0];
  if (b < 0x80) return 1;
  if (b < 0xC2 || b > 0xF4) return 0;
  const unsigned n = b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
  if (left < n || !ContinuationsFollow(p, n)) return 0;
  // The second byte's range is what rules out overlong forms, surrogates and values past 0x10FFFF.
  const unsigned char second = p[1];
  if (b == 0xE0 && second < 0xA0) return 0;
  if (b == 0xED && second > 0x9F) return 0;
  if (b == 0xF0 && second < 0x90) return 0;
  if (b == 0xF4 && second > 0x8F) return 0;
  return n;
}

// Length of the sequence at p as the codec's strict decoder accepts it (one to six bytes,
// overlong forms and values up to 0x7FFFFFFF, but not the leads C0, C1, F5, FF nor surrogates),
// or 0 when it refuses it. A zero byte is an ordinary one-byte sequence here.
unsigned CodecSequence(const unsigned char* p, std::size_t left) {
  const unsigned char b = p[0];
  if (b < 0x80) return 1;
  if (b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF) return 0;
  const unsigned n = kSequenceLengths.of[b];
  if (n == 0 || left < n || !ContinuationsFollow(p, n)) return 0;
  return IsSurrogate(SequenceValue(p, n)) ? 0 : n;
}

}  // namespace

namespace qor {

std::size_t string_utf8_find_invalid(const std::string& text, bool standard) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t size = text.size();
  std::size_t pos = 0;
  while (pos < size) {
    if (begin[pos] < 0x80) {
      ++pos;
      continue;
    }
    const unsigned n = standard ? StandardSequence(begin + pos, size - pos)
                                : CodecSequence(begin + pos, size - pos);
    if (n == 0) return pos;
    pos += n;
  }
  return std::string::npos;
}

}  // namespace qor
