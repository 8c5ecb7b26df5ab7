// A set of byte values given as a string (the trims' set, the splitter's separators, the slicer's
// separators), and scans of a text for the bytes in the set. Private to the library.
#ifndef QORSTL_SRC_BYTE_SET_H_
#define QORSTL_SRC_BYTE_SET_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "search/scan_kernels.h"

namespace qor {
namespace internal {

class ByteSet {
 public:
  // The members are the bytes of `chars`. Only those bytes are looked at: the set is a 256-bit
  // map, cleared in four words, so a short call pays for its set's bytes and no more.
  explicit ByteSet(const std::string& chars)
      : ByteSet(reinterpret_cast<const unsigned char*>(chars.data()), chars.size()) {}

  ByteSet(const unsigned char* bytes, std::size_t count) {
    // Four words in registers, each byte's bit selected into its word without a branch or a
    // round trip through memory.
    std::uint64_t words[4] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t bit = std::uint64_t{1} << (bytes[i] & 63);
      const unsigned word = bytes[i] >> 6;
      words[0] |= word == 0 ? bit : 0;
      words[1] |= word == 1 ? bit : 0;
      words[2] |= word == 2 ? bit : 0;
      words[3] |= word == 3 ? bit : 0;
    }
    for (unsigned w = 0; w < 4; ++w) member_[w] = words[w];
  }

  bool Contains(char c) const {
    const auto b = static_cast<unsigned char>(c);
    return ((member_[b >> 6] >> (b & 63)) & 1) != 0;
  }
  bool empty() const { return (member_[0] | member_[1] | member_[2] | member_[3]) == 0; }

  // Calls visit(pos) for each position of text[0, size) whose byte is in the set, in order;
  // stops early when visit returns false.
  template <typename Visit>
  void ForEachMember(const char* text, std::size_t size, Visit visit) const {
    std::size_t pos = 0;
    if (size >= kSetBlock) {
      // Sets of a few bytes: the level's kernel finds the members a window of text at a time, up to
      // the end of the text. It is asked for one member first, then for twice as many each call, so
      // that a caller that stops early reads little past its stop and a text dense with members
      // costs few calls. Larger sets, the portable level and shorter texts take the map below.
      const ScanKernels& kernels = BestScanKernels();
      unsigned char few[kVectorMembers];
      const std::size_t distinct = kernels.next_members != nullptr ? Members(few) : 0;
      if (distinct > 0 && distinct <= kVectorMembers) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(text);
        std::size_t found[kMemberRoom];
        std::size_t wanted = 1;
        while (pos < size) {
          const std::size_t count =
              kernels.next_members(bytes, &pos, size, few, distinct, wanted, found);
          for (std::size_t i = 0; i < count; ++i) {
            if (!visit(found[i])) return;
          }
          if (wanted < kMostMembersWanted) wanted *= 2;
        }
        return;
      }
    }
    // The plain rule: each byte looked up in the table.
    for (; pos < size; ++pos) {
      if (Contains(text[pos]) && !visit(pos)) return;
    }
  }

  // Position of the first byte of text[0, size) in the set, or npos.
  std::size_t FindFirst(const char* text, std::size_t size) const {
    std::size_t first = std::string::npos;
    ForEachMember(text, size, [&first](std::size_t pos) {
      first = pos;
      return false;
    });
    return first;
  }

 private:
  // The number of members; when it is at most kVectorMembers, they are also written to `few`.
  std::size_t Members(unsigned char* few) const {
    std::size_t count = 0;
    for (unsigned word = 0; word < 4; ++word) {
      for (std::uint64_t bits = member_[word]; bits != 0; bits &= bits - 1, ++count) {
        if (count < kVectorMembers)
          few[count] =
              static_cast<unsigned char>(word * 64 + static_cast<unsigned>(__builtin_ctzll(bits)));
      }
    }
    return count;
  }

  std::uint64_t member_[4] = {0, 0, 0, 0};
};

// A set of one to eight byte values held in the lanes of one word: a byte is a member when one lane
// equals it. Built from a few loads and tested in a handful of operations, so a call that looks at
// a few bytes of its text (the trims) pays less for its set than with the 256-bit map.
class FewBytes {
 public:
  static constexpr std::size_t kMax = 8;

  // The members are bytes[0, count), 1 <= count <= kMax. Lanes left over repeat a member.
  FewBytes(const unsigned char* bytes, std::size_t count) {
    if (count >= 4) {
      std::uint32_t low, high;
      std::memcpy(&low, bytes, 4);
      std::memcpy(&high, bytes + count - 4, 4);
      lanes_ = low | std::uint64_t{high} << 32;
    } else {
      lanes_ = bytes[0] * kOnes;
      lanes_ = (lanes_ & ~std::uint64_t{0xFFFF00}) | std::uint64_t{bytes[count / 2]} << 8 |
               std::uint64_t{bytes[count - 1]} << 16;
    }
  }

  bool Contains(char c) const {
    const std::uint64_t x = lanes_ ^ (static_cast<unsigned char>(c) * kOnes);
    return ((x - kOnes) & ~x & (kOnes << 7)) != 0;  // some lane is zero
  }

 private:
  static constexpr std::uint64_t kOnes = 0x0101010101010101ull;
  std::uint64_t lanes_;
};

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_BYTE_SET_H_
