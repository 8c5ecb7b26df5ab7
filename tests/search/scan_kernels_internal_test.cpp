// The byte-scan kernels of every level the CPU runs (byte sets, the single-pattern filter, the byte
// count and backward search of replace, the room count of the UTF-8 decoders) held against models
// written from their rules: every length from 0 to 70 bytes and around the blocks of 16 and 32 and
// the windows of 64, at every alignment, members in each block of a window and at its last byte,
// matches at every position and near-matches. Each text ends its allocation, so the sanitizer build
// reports a read past it.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "byte_set.h"
#include "cpu_features.h"
#include "search/scan_kernels.h"
#include "test_util.h"

namespace qi = qor::internal;

namespace {

constexpr std::size_t kNpos = std::string::npos;

std::vector<const qi::ScanKernels*> Levels() {
  std::vector<const qi::ScanKernels*> levels;
  for (qi::Isa isa :
       {qi::Isa::kScalar, qi::Isa::kSse2, qi::Isa::kAvx2, qi::Isa::kAvx512, qi::Isa::kNeon}) {
    if (const qi::ScanKernels* kernels = qi::ScanKernelsFor(isa)) levels.push_back(kernels);
  }
  return levels;
}

std::vector<std::size_t> Lengths() {
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n : {79,  80,  81,  95,  96,  97,  111, 112,  113,  127, 128,
                        129, 191, 192, 193, 255, 256, 257, 4080, 4097, 8200})
    lengths.push_back(n);
  return lengths;
}

// `text` copied to the end of an allocation, `align` bytes past a 16-byte boundary.
struct Placed {
  Placed(const std::string& text, std::size_t align) : bytes(align + text.size()) {
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(align));
    data = reinterpret_cast<const unsigned char*>(bytes.data()) + align;
  }
  std::vector<char> bytes;
  const unsigned char* data;
};

std::string Random(std::mt19937& rng, const std::string& letters, std::size_t n) {
  std::string text(n, '\0');
  for (char& c : text) c = letters[rng() % letters.size()];
  return text;
}

// Positions of the set's bytes found as ByteSet does, asking the kernel for `wanted` members a call
// (0: a random number each call), or byte by byte when the text is shorter than a block or the
// level has no kernel. Checks what each call reports against its contract.
std::vector<std::size_t> MembersWith(const qi::ScanKernels& kernels, const unsigned char* text,
                                     std::size_t size, const std::string& set,
                                     std::size_t wanted = 0) {
  const auto* members = reinterpret_cast<const unsigned char*>(set.data());
  std::mt19937 rng(static_cast<unsigned>(size));
  std::vector<std::size_t> found;
  std::size_t pos = 0;
  if (kernels.next_members != nullptr && size >= qi::kSetBlock) {
    while (pos < size && !::testing::Test::HasFailure()) {
      const std::size_t asked = wanted != 0 ? wanted : 1 + rng() % qi::kMostMembersWanted;
      std::vector<std::size_t> room(qi::kMemberRoom, qi::kNotFound);
      const std::size_t from = pos;
      const std::size_t count =
          kernels.next_members(text, &pos, size, members, set.size(), asked, room.data());
      EXPECT_LE(count, qi::kMemberRoom);
      EXPECT_TRUE(pos == size || (pos > from && (pos - from) % qi::kSetWindow == 0 &&
                                  count >= asked && count < asked + qi::kSetWindow))
          << "stopped at " << pos << " from " << from << " with " << count << " of " << asked;
      for (std::size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(room[i] >= from && room[i] < pos)
            << room[i] << " outside " << from << ".." << pos;
        found.push_back(room[i]);
      }
    }
    return found;
  }
  for (; pos < size; ++pos)
    if (set.find(static_cast<char>(text[pos])) != kNpos) found.push_back(pos);
  return found;
}

TEST(ScanKernels, ByteSetMembers) {
  const std::string alphabet("ab \t\0\xC3\xFF,;", 9);
  std::mt19937 rng(160);
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    for (std::size_t n : Lengths()) {
      for (std::size_t align = 0; align < 16 && !HasFailure(); ++align) {
        const std::string text = Random(rng, alphabet, n);
        // One to six distinct members, often absent from the text.
        std::string set;
        for (std::size_t k = 1 + rng() % qi::kVectorMembers; set.size() < k;) {
          const char c = rng() % 4 ? alphabet[rng() % alphabet.size()] : char('0' + rng() % 10);
          if (set.find(c) == kNpos) set += c;
        }
        std::vector<std::size_t> want;
        for (std::size_t i = 0; i < n; ++i)
          if (set.find(text[i]) != kNpos) want.push_back(i);
        const Placed placed(text, align);
        EXPECT_EQ(MembersWith(*kernels, placed.data, n, set), want)
            << qor_test::Hex(text) << " / " << qor_test::Hex(set);
      }
    }
  }
}

// A lone member at every position of texts around the block and window widths, at every
// alignment, alone and with a second one at the last byte: each block of a window, each window's
// last byte, and a window cut by the end of the text.
TEST(ScanKernels, ByteSetMemberAtEveryPosition) {
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    for (std::size_t n :
         {15, 16, 17, 31, 32, 33, 47, 48, 63, 64, 65, 80, 127, 128, 129, 191, 192, 193, 200}) {
      for (std::size_t align = 0; align < 16; ++align) {
        for (std::size_t at = 0; at < n && !HasFailure(); ++at) {
          for (const char* set : {"x", "yx", "\x80x,;\t\n"}) {
            std::string text(n, 'a');
            text[at] = 'x';
            std::vector<std::size_t> want = {at};
            if (at % 3 == 0 && at + 1 < n) {
              text[n - 1] = ',';
              if (std::string(set).find(',') != kNpos) want.push_back(n - 1);
            }
            const Placed placed(text, align);
            EXPECT_EQ(MembersWith(*kernels, placed.data, n, set, 1 + at % 2), want)
                << "n " << n << " at " << at << " align " << align << " set " << set;
          }
        }
      }
    }
  }
}

// ByteSet itself, at the level this CPU runs: every member visited in order, and no visit after
// the one that stops the scan.
TEST(ScanKernels, ByteSetVisitsInOrderAndStops) {
  const std::string alphabet("ab \t\0\xC3\xFF,;", 9);
  std::mt19937 rng(164);
  for (std::size_t n : Lengths()) {
    for (int round = 0; round < 4 && !HasFailure(); ++round) {
      const std::string text = Random(rng, alphabet, n);
      const std::string set = Random(rng, alphabet, 1 + rng() % (round == 3 ? 9 : 4));
      std::vector<std::size_t> want;
      for (std::size_t i = 0; i < n; ++i)
        if (set.find(text[i]) != kNpos) want.push_back(i);
      const std::size_t stop_after = want.empty() ? 0 : rng() % want.size();
      std::vector<std::size_t> seen;
      qi::ByteSet(set).ForEachMember(text.data(), n, [&](std::size_t pos) {
        seen.push_back(pos);
        return seen.size() <= stop_after;
      });
      if (!want.empty()) want.resize(stop_after + 1);
      EXPECT_EQ(seen, want) << qor_test::Hex(text) << " / " << qor_test::Hex(set);
      EXPECT_EQ(qi::ByteSet(set).FindFirst(text.data(), n), want.empty() ? kNpos : want[0]);
    }
  }
}

std::size_t Naive(const std::string& text, const std::string& pattern, std::size_t from) {
  for (std::size_t pos = from; pos + pattern.size() <= text.size(); ++pos)
    if (text.compare(pos, pattern.size(), pattern) == 0) return pos;
  return kNpos;
}

TEST(ScanKernels, FindFromAgreesWithNaiveSearch) {
  // The last alphabet makes the first byte rare, so that whole blocks hold none of it.
  const std::string alphabets[] = {"ab", std::string("ab\0\xC3", 4), "aaaaaaab",
                                   std::string(60, 'a') + "bc"};
  std::mt19937 rng(161);
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    for (std::size_t n : Lengths()) {
      if (n < 16) continue;  // the kernels' callers keep shorter texts
      for (std::size_t align = 0; align < 16; ++align) {
        for (int round = 0; round < 8 && !HasFailure(); ++round) {
          const std::string& letters = alphabets[round % 4];
          const std::string text = Random(rng, letters, n);
          const std::size_t m = 2 + rng() % (round % 3 == 0 ? 40 : 10);
          if (m > n) continue;
          std::string pattern = text.substr(rng() % (n - m + 1), m);
          if (rng() % 2) pattern[rng() % m] = letters[rng() % letters.size()];
          // The kernels start where no occurrence starts before them.
          const std::size_t first = Naive(text, pattern, 0);
          const std::size_t bound = first == kNpos ? n - m : first;
          const std::size_t pos = rng() % (bound + 1);
          const Placed placed(text, align);
          const auto* p = reinterpret_cast<const unsigned char*>(pattern.data());
          EXPECT_EQ(kernels->find_from(placed.data, n, p, m, pos), first)
              << qor_test::Hex(text) << " / " << qor_test::Hex(pattern) << " from " << pos;
        }
      }
    }
  }
}

// One occurrence at every start, the other starts holding near-matches (the first and last bytes
// with a wrong byte between, or the first byte alone), or nothing of the pattern at all.
TEST(ScanKernels, FindFromStopsAtEveryStart) {
  std::mt19937 rng(162);
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    for (std::size_t n : {16, 17, 31, 32, 33, 47, 48, 63, 64, 65, 100, 200}) {
      for (std::size_t m : {2, 3, 4, 10, 17, 33}) {
        if (m > n) continue;
        const std::string pattern = "b" + std::string(m - 2, 'x') + "y";
        for (std::size_t at = 0; at + m <= n && !HasFailure(); ++at) {
          for (int kind = 0; kind < 3; ++kind) {
            std::string text(n, 'a');
            if (kind > 0) {
              for (std::size_t i = 0; i + m <= at; i += 1 + rng() % m) {
                text[i] = 'b';
                if (kind == 2) text[i + m - 1] = 'y';
              }
              if (kind == 2 && m > 2) {
                for (std::size_t i = 0; i + m <= at; ++i)
                  if (text[i] == 'b' && text[i + m - 1] == 'y') text[i + 1] = 'z';
              }
            }
            text.replace(at, m, pattern);
            const Placed placed(text, 1);
            const auto* p = reinterpret_cast<const unsigned char*>(pattern.data());
            EXPECT_EQ(kernels->find_from(placed.data, n, p, m, 0), Naive(text, pattern, 0))
                << qor_test::Hex(text) << " m " << m;
          }
        }
      }
    }
  }
}

TEST(ScanKernels, CountLastByteAndRoom) {
  const std::string alphabet("a\n\r\0\x80\xBF\xC3\xE2\xF0\xF4\xFF", 11);
  std::mt19937 rng(163);
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    for (std::size_t n : Lengths()) {
      for (std::size_t align = 0; align < 16 && !HasFailure(); ++align) {
        const std::string text = Random(rng, alphabet, n);
        const char c = alphabet[rng() % 4];  // also bytes that never occur: 'z' half the time
        const char byte = rng() % 2 ? c : 'z';
        std::size_t count = 0, room = 0, pairs = 0;
        for (char t : text) {
          count += t == byte;
          const auto u = static_cast<unsigned char>(t);
          room += u < 0x80 || u >= 0xC0;  // every byte that is not a continuation byte
          pairs += u >= 0xF0;
        }
        const Placed placed(text, align);
        const auto b = static_cast<unsigned char>(byte);
        SCOPED_TRACE(qor_test::Hex(text));
        EXPECT_EQ(kernels->count_byte(placed.data, n, b), count);
        EXPECT_EQ(kernels->last_byte(placed.data, n, b), text.rfind(byte));
        EXPECT_EQ(kernels->decoded_room(placed.data, n, false), room);
        EXPECT_EQ(kernels->decoded_room(placed.data, n, true), room + pairs);
      }
    }
  }
}

// Counts past the 255 blocks a byte counter holds.
TEST(ScanKernels, LongCounts) {
  const std::string text(255 * 32 * 2 + 77, '\xF0');
  for (const qi::ScanKernels* kernels : Levels()) {
    SCOPED_TRACE(qi::IsaName(kernels->isa));
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    EXPECT_EQ(kernels->count_byte(p, text.size(), 0xF0), text.size());
    EXPECT_EQ(kernels->decoded_room(p, text.size(), true), 2 * text.size());
  }
}

}  // namespace
