// Fuzzes the comparisons, string_diff, the ordering predicates, string_compare_one_of and
// string_containsIgnoreCase against models written from their rules (in the "C" locale, where
// case folding touches only A to Z), and checks the sign relations between the overloads and
// between the two orders of the arguments.
// Input: a flags byte, a count byte, the texts a and b as length-prefixed fields, then list entries
// separated by '|'.
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "models/case_fold_model.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;
using qor_fuzz::Sign;
using qor_test::CompareFolded;
using qor_test::ContainsFolded;
using qor_test::WidenBytes;

constexpr std::size_t kUnbounded = static_cast<std::size_t>(-1);

int Low32(std::size_t n) {
  return static_cast<int>(static_cast<std::int32_t>(static_cast<std::uint32_t>(n)));
}

// The zero-terminated text of `s` in a block that ends at its terminator, so that the sanitizers
// report any read past it.
std::vector<char> Terminated(const std::string& s) {
  return std::vector<char>(s.c_str(), s.c_str() + std::strlen(s.c_str()) + 1);
}

void CheckNarrowComparisons(const std::string& a, const std::string& b, int n, bool cs) {
  const int model = CompareFolded(a.c_str(), b.c_str(), kUnbounded, cs);
  const int direct = qor::qor_strcmp(a.c_str(), b.c_str(), cs);
  Check(Sign(direct) == model, "qor_strcmp against the model");
  Check(Sign(qor::qor_strcmp(b.c_str(), a.c_str(), cs)) == -model, "qor_strcmp reversed");
  Check(qor::string_compare(a, b, cs) == direct, "string_compare(string, string)");
  Check(qor::string_compare(a, b.c_str(), cs) == direct, "string_compare(string, pointer)");
  Check(qor::string_compare(a.c_str(), b, cs) == direct, "string_compare(pointer, string)");
  Check(qor::string_compare(a, static_cast<const char*>(nullptr), cs) == Low32(a.size()),
        "string_compare(string, null)");
  Check(qor::string_compare(static_cast<const char*>(nullptr), a, cs) == -Low32(a.size()),
        "string_compare(null, string)");
  const std::size_t count = n < 0 ? kUnbounded : static_cast<std::size_t>(n);
  Check(Sign(qor::qor_strncmp(a.c_str(), b.c_str(), n, cs)) ==
            CompareFolded(a.c_str(), b.c_str(), count, cs),
        "qor_strncmp against the model");
}

void CheckWideComparisons(const std::string& a8, const std::string& b8, int n, bool cs) {
  const std::wstring a = WidenBytes(a8), b = WidenBytes(b8);
  const int model = CompareFolded(a.c_str(), b.c_str(), kUnbounded, cs);
  const int direct = qor::qor_wcscmp(a.c_str(), b.c_str(), cs);
  Check(Sign(direct) == model, "qor_wcscmp against the model");
  Check(Sign(qor::qor_wcscmp(b.c_str(), a.c_str(), cs)) == -model, "qor_wcscmp reversed");
  Check(qor::wstring_compare(a, b, cs) == direct, "wstring_compare(string, string)");
  Check(qor::wstring_compare(a, b.c_str(), cs) == direct, "wstring_compare(string, pointer)");
  Check(qor::wstring_compare(a.c_str(), b, cs) == direct, "wstring_compare(pointer, string)");
  Check(qor::wstring_compare(a, static_cast<const wchar_t*>(nullptr), cs) == Low32(a.size()),
        "wstring_compare(string, null)");
  Check(qor::wstring_compare(static_cast<const wchar_t*>(nullptr), a, cs) == -Low32(a.size()),
        "wstring_compare(null, string)");
  const std::size_t count = n < 0 ? kUnbounded : static_cast<std::size_t>(n);
  Check(Sign(qor::qor_wsncmp(a.c_str(), b.c_str(), n, cs)) ==
            CompareFolded(a.c_str(), b.c_str(), count, cs),
        "qor_wsncmp against the model");
}

void CheckDiff(const std::string& a, const std::string& b, bool cs) {
  const std::size_t la = a.size(), lb = b.size();
  // Two strings: the comparison over the common length, then exactly la - lb.
  int want = CompareFolded(a.c_str(), b.c_str(), la < lb ? la : lb, cs);
  const bool prefix_decides = want == 0 && la != lb;
  if (prefix_decides) want = Low32(la) - Low32(lb);
  const int two = qor::string_diff(a, b, cs);
  Check(prefix_decides ? two == want : Sign(two) == want, "string_diff(string, string)");
  const int two_reversed = qor::string_diff(b, a, cs);
  Check(prefix_decides ? two_reversed == -want : Sign(two_reversed) == -want,
        "string_diff(string, string) reversed");
  Check(a != b || two == 0, "string_diff of equal strings");

  // Pointer second: the comparison over a's length, then minus the pointer's next byte; 0 when the
  // pointer's text ends at a zero byte of a.
  const std::vector<char> pointer = Terminated(b);
  int second = CompareFolded(a.c_str(), pointer.data(), la, cs);
  const bool next_byte_decides = second == 0;
  if (next_byte_decides) {
    second = a.find('\0') != std::string::npos
                 ? 0
                 : -static_cast<int>(static_cast<unsigned char>(pointer[la]));
  }
  const int got_second = qor::string_diff(a, pointer.data(), cs);
  Check(next_byte_decides ? got_second == second : Sign(got_second) == second,
        "string_diff(string, pointer)");
  const int got_first = qor::string_diff(pointer.data(), a, cs);
  Check(next_byte_decides ? got_first == -second : Sign(got_first) == -second,
        "string_diff(pointer, string) mirrors string_diff(string, pointer)");
  // Without zero bytes the pointer's text is b, and both forms order a proper prefix first.
  if (a.find('\0') == std::string::npos && b.find('\0') == std::string::npos) {
    Check(Sign(got_second) == Sign(two), "string_diff(string, pointer) agrees in sign");
  }
  Check(qor::string_diff(a, static_cast<const char*>(nullptr), cs) == Low32(la),
        "string_diff(string, null)");
  Check(qor::string_diff(static_cast<const char*>(nullptr), a, cs) == -Low32(la),
        "string_diff(null, string)");
}

void CheckPredicates(const std::string& a, const std::string& b) {
  Check(qor::less_len(a, b) == (a.size() < b.size()), "less_len");
  Check(qor::great_len(a, b) == (a.size() > b.size()), "great_len");
  // The standard string orders bytes as unsigned values, a proper prefix first.
  Check(qor::greater(a, b) == (b < a), "greater");
  Check(!(qor::greater(a, b) && qor::greater(b, a)), "greater is asymmetric");
  Check(!qor::greater(a, a), "greater is irreflexive");
}

int ModelOneOf(const std::string& text, const std::vector<std::string>& list, bool prefix) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string& entry = list[i];
    if (prefix ? text.compare(0, entry.size(), entry) == 0 && entry.size() <= text.size()
               : text == entry) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor_fuzz::Input input(data, size);
  const std::uint8_t flags = input.Byte();
  const int n = static_cast<signed char>(input.Byte());
  const std::string a = input.Field(256), b = input.Field(256);
  std::vector<std::string> list;
  const std::string rest = input.Rest();
  for (std::size_t start = 0; start <= rest.size() && !rest.empty();) {
    const std::size_t bar = rest.find('|', start);
    const std::size_t end = bar == std::string::npos ? rest.size() : bar;
    list.push_back(rest.substr(start, end - start));
    start = end + 1;
  }
  if (flags & 1) list.push_back(a.substr(0, flags >> 1));  // a prefix of a, or a itself

  for (bool cs : {true, false}) {
    CheckNarrowComparisons(a, b, n, cs);
    CheckWideComparisons(a, b, n, cs);
    CheckDiff(a, b, cs);
  }
  CheckPredicates(a, b);
  for (bool prefix : {false, true}) {
    Check(qor::string_compare_one_of(a, list, prefix) == ModelOneOf(a, list, prefix),
          "string_compare_one_of");
  }
  Check(qor::string_containsIgnoreCase(a, b) == ContainsFolded(a, b), "string_containsIgnoreCase");
  return 0;
}
