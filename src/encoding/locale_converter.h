// Whole-text conversion through a locale's facet with the fast paths its encoding allows: tables
// for single-byte encodings, the library's own UTF-8 coders for UTF-8, and ASCII runs plus a memo
// of decoded characters for the multibyte encodings. Each path settles only what the facet's own
// answers (probed once per call) prove equal, and leaves the rest to the facet loop. Private.
#ifndef QORSTL_SRC_ENCODING_LOCALE_CONVERTER_H_
#define QORSTL_SRC_ENCODING_LOCALE_CONVERTER_H_

#include <cstddef>
#include <string>

#include "encoding/facet_converter.h"

namespace qor {
namespace internal {

// Decodes or encodes all of `text` as FacetToWide / FacetToNarrow do, with the same results.
bool LocaleToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out);
bool LocaleToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out);

// What a fast path made of a text: all of it, a failure the facet confirmed, or nothing (the
// encoding is not one it handles), in which case the facet loop converts the whole text.
enum class Outcome { kDone, kFailed, kNotMine };

// Single-byte encodings (one byte a character, no shift state), by tables probed from the facet.
Outcome SingleByteToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out);
Outcome SingleByteToNarrow(const WideCodecvt& facet, const std::wstring& text, std::string& out);

// Encodings that map 01..7F to themselves in the initial state (the caller has probed it): ASCII
// runs without the facet.
Outcome AsciiCompatibleToWide(const WideCodecvt& facet, const std::string& text, std::wstring& out);
Outcome AsciiCompatibleToNarrow(const WideCodecvt& facet, const std::wstring& text,
                                std::string& out);

// Whether the facet decodes, or encodes, the bytes 01..7F as themselves in the initial state.
bool DecodesAsciiAsItself(const WideCodecvt& facet);
bool EncodesAsciiAsItself(const WideCodecvt& facet);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_LOCALE_CONVERTER_H_
