// Fuzzes the conversions by locale name, and the ASCII conversions over them, against a model built
// on the C library's own converters (mbrtowc / wcrtomb in that locale, closed with the return to
// the initial state): the whole text converts, a zero byte or element converts like any other,
// and anything the model refuses gives the error text. Locales: UTF-8 and Latin-1 ones generated
// for the build (found through LOCPATH), and a name no locale has. In those and in multibyte and
// single-byte ones the paths for long texts (tables, the UTF-8 coders, ASCII runs, the memo of
// characters) must give exactly what the facet loop gives one character at a time.
// Input: a selector byte, then the text, read also as a wide text four bytes to an element.
// Selector: bits 0-1 a locale of the model, or with bit 7 one of the facet loop's; bits 2-3 the
// values of the wide text; bit 6 repeats the text past the length where long texts keep a memo.
#include <locale.h>
#include <stdlib.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>

#include "encoding/facet_converter.h"
#include "fuzz_util.h"
#include "models/error_texts.h"
#include "qor/qorstl.h"

#if !defined(QORSTL_FUZZ_LOCALE_DIR)
#define QORSTL_FUZZ_LOCALE_DIR ""
#endif

namespace {

using qor_fuzz::Check;

const char* const kLocales[] = {"de_DE.UTF-8", "de_DE.ISO-8859-1", "qor_NO.SUCH-LOCALE"};
using qor_test::kFromBytesError;
using qor_test::kToBytesError;
// Locales whose results are held against the facet loop alone: single-byte ones, one with bytes
// it lacks, multibyte ones, and those with characters of two elements or held back.
const char* const kFacetLocales[] = {"ru_RU.KOI8-R",  "de_DE.CP1252",         "ja_JP.EUC-JP",
                                     "zh_CN.GB18030", "ja_JP.SHIFT_JISX0213", "zh_HK.BIG5-HKSCS",
                                     "C.UTF-8"};
using LocaleFacet = qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>>;

// The locales generated for the build, unless the caller points LOCPATH elsewhere.
void FindLocales() {
  static const bool done = [] {
    if (*QORSTL_FUZZ_LOCALE_DIR != '\0') setenv("LOCPATH", QORSTL_FUZZ_LOCALE_DIR, 0);
    return true;
  }();
  (void)done;
}

// The C library's converters of one locale, used on this thread while the object lives.
class ModelLocale {
 public:
  // `index` names the locale in kLocales; each is opened once and kept for the process.
  explicit ModelLocale(std::size_t index) : locale_(Open(index)) {
    if (locale_ != static_cast<locale_t>(0)) previous_ = uselocale(locale_);
  }
  ~ModelLocale() {
    if (locale_ != static_cast<locale_t>(0)) uselocale(previous_);
  }
  ModelLocale(const ModelLocale&) = delete;
  ModelLocale& operator=(const ModelLocale&) = delete;
  bool exists() const { return locale_ != static_cast<locale_t>(0); }

  // False when a byte sequence does not decode or the text ends inside one; `zero_inside` then
  // says whether a zero byte stands within the refused sequence.
  bool Decode(const std::string& text, std::wstring& out, bool& zero_inside) const {
    std::mbstate_t state{};
    out.clear();
    zero_inside = false;
    for (std::size_t pos = 0; pos < text.size();) {
      wchar_t wc = 0;
      const std::size_t used = std::mbrtowc(&wc, text.data() + pos, text.size() - pos, &state);
      if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) {
        const std::size_t span = text.size() - pos < MB_LEN_MAX ? text.size() - pos : MB_LEN_MAX;
        zero_inside = std::memchr(text.data() + pos, 0, span) != nullptr;
        return false;
      }
      out += wc;
      pos += used == 0 ? 1 : used;  // 0: the zero character, one byte in these locales
    }
    return std::mbsinit(&state) != 0;
  }

  // False when an element has no form in the locale's encoding.
  bool Encode(const std::wstring& text, std::string& out) const {
    std::mbstate_t state{};
    char bytes[MB_LEN_MAX];
    out.clear();
    for (wchar_t wc : text) {
      const std::size_t length = std::wcrtomb(bytes, wc, &state);
      if (length == static_cast<std::size_t>(-1)) return false;
      out.append(bytes, length);
    }
    // Back to the initial state: what wcrtomb writes for the zero character, less that zero.
    const std::size_t length = std::wcrtomb(bytes, L'\0', &state);
    if (length == static_cast<std::size_t>(-1)) return false;
    out.append(bytes, length - 1);
    return true;
  }

 private:
  static locale_t Open(std::size_t index) {
    static locale_t opened[std::size(kLocales)] = {};
    static bool tried[std::size(kLocales)] = {};
    if (!tried[index]) {
      opened[index] = newlocale(LC_CTYPE_MASK, kLocales[index], static_cast<locale_t>(0));
      tried[index] = true;
    }
    return opened[index];
  }

  locale_t locale_;
  locale_t previous_ = static_cast<locale_t>(0);
};

// Both conversions against the facet loop, which converts one character at a time.
void CheckAgainstFacetLoop(const char* name, const std::string& text, const std::wstring& wide) {
  std::unique_ptr<LocaleFacet> facet;
  try {
    facet.reset(new LocaleFacet(name, std::size_t{0}));
  } catch (const std::exception&) {
    return;  // not generated on this machine
  }
  std::wstring by_loop;
  const bool decodes = qor::internal::FacetToWide(*facet, text, by_loop);
  Check(qor::string_string_to_wstring(text, name) == (decodes ? by_loop : kFromBytesError),
        "string_string_to_wstring against the facet loop");
  std::string bytes_by_loop;
  const bool encodes = qor::internal::FacetToNarrow(*facet, wide, bytes_by_loop);
  Check(qor::string_wstring_to_string(wide, name) == (encodes ? bytes_by_loop : kToBytesError),
        "string_wstring_to_string against the facet loop");
}

void CheckLocale(std::size_t index, const std::string& text, const std::wstring& wide) {
  const char* const name = kLocales[index];
  const std::wstring decoded = qor::string_string_to_wstring(text, name);
  const std::string encoded = qor::string_wstring_to_string(wide, name);
  const ModelLocale model(index);
  if (!model.exists()) {
    const std::string message = qor_test::MissingLocaleMessage(name);
    Check(!message.empty(), "a missing locale fails to construct");
    Check(decoded == qor_test::WidenMessage(message), "decoding names the missing locale");
    Check(encoded == message, "encoding names the missing locale");
    return;
  }
  std::wstring want_wide;
  bool zero_inside = false;
  const bool decodes = model.Decode(text, want_wide, zero_inside);
  Check(decoded == (decodes ? want_wide : kFromBytesError),
        "string_string_to_wstring against mbrtowc");
  std::string want_bytes;
  const bool encodes = model.Encode(wide, want_bytes);
  Check(encoded == (encodes ? want_bytes : kToBytesError),
        "string_wstring_to_string against wcrtomb");
  CheckAgainstFacetLoop(name, text, wide);
  if (encodes) {
    // Decoding what was encoded gives what the C library gives; not always the text itself, since
    // an encoding may drop characters (glibc's converters skip the tag characters U+E0000 up).
    std::wstring back;
    bool back_zero_inside = false;
    const bool back_decodes = model.Decode(want_bytes, back, back_zero_inside);
    Check(back_decodes, "what the locale encodes, it decodes");
    Check(qor::string_string_to_wstring(encoded, name) == back, "decoding the encoded text");
  }

  // The ASCII conversions: ASCII (and for the way in, UTF-8) text as it is, else the chain.
  const bool ascii = qor::string_is_ascii_string(text);
  const std::string to_local = qor::string_utf8_to_ascii(text, name);
  const std::wstring from_utf8 = qor::string_string_to_wstring(text, "utf-8");
  Check(to_local == (ascii ? text : qor::string_wstring_to_string(from_utf8, name)),
        "string_utf8_to_ascii");
  const std::string to_utf8 = qor::string_ascii_to_utf8(text, name);
  Check(to_utf8 == (ascii || qor::string_is_utf8_string(text)
                        ? text
                        : qor::string_wstring_to_string(decoded, "utf-8")),
        "string_ascii_to_utf8");
}

}  // namespace

// With LOCPATH set, glibc's newlocale does not free its copy of the path list when no locale has
// the name (the library reaches it through the facet, the model directly); that leak is the C
// library's own, so the leak checker is told to pass over exactly that frame.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FindLocales();
  qor_fuzz::Input input(data, size);
  const std::uint8_t selector = input.Byte();
  std::string text = input.Rest();
  if ((selector & 0x40) != 0 && !text.empty()) {
    while (text.size() < 1100) text += text;
  }
  // Raw values, values within Unicode, or byte values, so that encodable texts are common.
  static const std::uint32_t kMasks[] = {0xFFFFFFFFu, 0x1FFFFFu, 0x1FFFu, 0xFFu};
  const std::uint32_t mask = kMasks[(selector >> 2) % 4];
  std::wstring wide(text.size() / 4, L'\0');
  for (std::size_t i = 0; i < wide.size(); ++i) {
    std::uint32_t value;
    std::memcpy(&value, text.data() + 4 * i, sizeof value);
    wide[i] = static_cast<wchar_t>(value & mask);
  }
  if ((selector & 0x80) != 0) {
    CheckAgainstFacetLoop(kFacetLocales[(selector & 0x3F) % std::size(kFacetLocales)], text, wide);
  } else {
    CheckLocale(selector % std::size(kLocales), text, wide);
  }
  return 0;
}
