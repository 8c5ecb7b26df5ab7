// The portable kernels: what builds without SIMD run, and every CPU without a kernel of ours. They
// fill the portable level's tables of the decoding, encoding and validation kernels.
#ifndef QORSTL_SRC_ENCODING_PORTABLE_KERNELS_H_
#define QORSTL_SRC_ENCODING_PORTABLE_KERNELS_H_

#include <cstddef>

#include "encoding/decode_kernels.h"
#include "encoding/encode_kernels.h"

namespace qor {
namespace internal {

// As DecodeKernels::ascii_prefix, eight bytes at a time.
std::size_t PortableAsciiPrefix(const unsigned char* p, std::size_t n);
// The longest prefix of p[0, n) that is well-formed standard UTF-8 (zero bytes included); `high`
// tells whether it holds a byte of 0x80 or above. Exact, so it serves both
// DecodeKernels::valid_prefix and ValidateKernels::standard_prefix.
std::size_t PortableStandardPrefix(const unsigned char* p, std::size_t n, bool& high);
std::size_t PortableValidPrefix(const unsigned char* p, std::size_t n);
// As DecodeKernels::decode: stops exactly before the first sequence it may not settle.
DecodeStep PortableDecode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                          unsigned options);
// As EncodeKernels::measure and ::encode, element by element without a block.
std::size_t PortableMeasure(const wchar_t* p, std::size_t n, const PlainRule& rule,
                            std::size_t& used);
std::size_t PortableEncode(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                           const PlainRule& rule, std::size_t& written);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_PORTABLE_KERNELS_H_
