// Encodings of the qorstl tool: names and aliases, and streaming decoders and encoders through the
// library (Unicode forms, locales) or the platform's iconv(3) (every other charset).
#ifndef QORSTL_TOOL_ENCODINGS_H_
#define QORSTL_TOOL_ENCODINGS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tool {

// What a conversion does with a malformed or unconvertible character.
enum class OnError {
  kFail,        // stop with a message
  kDrop,        // leave it out, as iconv -c does
  kSubstitute,  // write U+FFFD, or '?' where the target cannot hold U+FFFD
};

struct Encoding {
  enum Kind { kUtf8, kUtf16, kUtf16Be, kUtf16Le, kLatin1, kLocale, kIconv } kind;
  std::string system_name;  // kLocale: the locale; kIconv: the name iconv_open takes
  std::string label;        // for messages: what the user asked for
};

// Throws Failure naming what is unknown, with the usable names that come closest.
Encoding ResolveEncoding(const std::string& name);

// Every usable name, one a line, for `convert -l`.
std::vector<std::string> ListEncodings();

// Where decoding stopped at malformed input (under OnError::kFail).
struct Decoded {
  Decoded(std::size_t used, const char* what = nullptr, std::string about = std::string())
      : consumed(used), error(what), detail(std::move(about)) {}
  std::size_t consumed;  // bytes used; on a failure, where the malformed sequence begins
  const char* error;     // what is wrong there, or null
  std::string detail;    // e.g. the code unit, for the message
};

// Bytes to code points, fed in pieces: each call decodes the whole characters at the start of the
// bytes it is given and says how many bytes it used; the caller keeps the rest for the next call.
class Decoder {
 public:
  virtual ~Decoder() = default;
  // `last`: no bytes follow, so a character cut short at the end is malformed.
  virtual Decoded Decode(const char* data, std::size_t size, bool last, std::wstring& out) = 0;
};

// Code points to bytes.
class Encoder {
 public:
  explicit Encoder(OnError on_error) : on_error_(on_error) {}
  virtual ~Encoder() = default;
  // Appends the encoding of `size` code points to `out`; returns `size`, or under OnError::kFail
  // the index of the first one the target cannot hold.
  std::size_t Encode(const wchar_t* data, std::size_t size, std::string& out);
  // Ends the output (a stateful charset returns to its initial state).
  virtual void Finish(std::string& /*out*/) {}

 protected:
  // Encodes from the start up to the first code point the target cannot hold; returns its index
  // (`size` when there is none).
  virtual std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) = 0;

 private:
  OnError on_error_;
};

std::unique_ptr<Decoder> MakeDecoder(const Encoding& encoding, OnError on_error);
std::unique_ptr<Encoder> MakeEncoder(const Encoding& encoding, OnError on_error);

// Factories of the units that implement them.
std::unique_ptr<Decoder> MakeUnicodeDecoder(Encoding::Kind kind, OnError on_error);
std::unique_ptr<Encoder> MakeUnicodeEncoder(Encoding::Kind kind, OnError on_error);
std::unique_ptr<Decoder> MakeIconvDecoder(const std::string& charset, OnError on_error);
std::unique_ptr<Encoder> MakeIconvEncoder(const std::string& charset, OnError on_error);
std::unique_ptr<Decoder> MakeLocaleDecoder(const std::string& locale, OnError on_error);
std::unique_ptr<Encoder> MakeLocaleEncoder(const std::string& locale, OnError on_error);
bool IconvKnows(const std::string& charset);

constexpr wchar_t kReplacement = 0xFFFD;

}  // namespace tool

#endif  // QORSTL_TOOL_ENCODINGS_H_
