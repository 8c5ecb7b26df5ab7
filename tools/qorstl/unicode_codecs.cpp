// Streaming decoders and encoders for UTF-8 (through the library's codec), UTF-16 and Latin-1.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "encodings.h"
#include "qor/qorstl.h"

namespace tool {
namespace {

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Bytes in the sequence that `lead` starts under the standard rules; 0 for a byte that cannot
// start one.
std::size_t SequenceLength(char lead) {
  const auto b = static_cast<unsigned char>(lead);
  if (b < 0x80) return 1;
  if (b >= 0xC2 && b <= 0xDF) return 2;
  if (b >= 0xE0 && b <= 0xEF) return 3;
  if (b >= 0xF0 && b <= 0xF4) return 4;
  return 0;
}

// The end of the whole sequences in [data, data + size): a sequence cut short by the end of the
// buffer is left for the next piece.
std::size_t WholeSequencesEnd(const char* data, std::size_t size) {
  std::size_t lead = size;
  while (lead > 0 && size - lead < 4 && IsContinuation(data[lead - 1])) --lead;
  if (lead == 0) return size;  // only continuation bytes: malformed, nothing to wait for
  const std::size_t need = SequenceLength(data[lead - 1]);
  return need > size - lead + 1 ? lead - 1 : size;
}

// Decodes well-formed UTF-8 through the codec, which stops at zero bytes: those are added here.
void DecodeValid(const char* data, std::size_t size, std::wstring& out) {
  std::size_t at = out.size();
  out.resize(at + size);
  while (size > 0) {
    const void* zero = std::memchr(data, 0, size);
    const std::size_t run =
        zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - data) : size;
    if (run > 0) at += utf8_to_wchar(data, run, &out[at], run, 0);
    if (zero) out[at++] = L'\0';
    const std::size_t used = run + (zero ? 1 : 0);
    data += used;
    size -= used;
  }
  out.resize(at);
}

class Utf8Decoder : public Decoder {
 public:
  explicit Utf8Decoder(OnError on_error) : on_error_(on_error) {}

  Decoded Decode(const char* data, std::size_t size, bool last, std::wstring& out) override {
    std::size_t pos = 0;
    if (dropping_) {  // the continuation bytes after a malformed byte go with it
      while (pos < size && IsContinuation(data[pos])) ++pos;
      if (pos == size && !last) return {pos};
      dropping_ = false;
    }
    const std::size_t end = last ? size : WholeSequencesEnd(data, size);
    while (pos < end) {
      const std::string piece(data + pos, end - pos);
      const std::size_t bad = qor::string_utf8_find_invalid(piece, true);
      DecodeValid(data + pos, bad == std::string::npos ? piece.size() : bad, out);
      if (bad == std::string::npos) return {end};
      pos += bad;
      const std::size_t need = SequenceLength(data[pos]);
      std::size_t following = 1;
      while (pos + following < size && IsContinuation(data[pos + following])) ++following;
      const bool cut_short = need > 1 && pos + following == size && following < need;
      if (on_error_ == OnError::kFail || (cut_short && on_error_ == OnError::kDrop)) {
        return {pos, cut_short ? "incomplete character at end" : "malformed sequence"};
      }
      if (on_error_ == OnError::kSubstitute) out += kReplacement;
      pos += following;
      if (pos == size && !last) dropping_ = true;
    }
    return {pos};
  }

 private:
  OnError on_error_;
  bool dropping_ = false;
};

std::string Hex4(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", value);
  return text;
}

class Utf16Decoder : public Decoder {
 public:
  Utf16Decoder(Encoding::Kind kind, OnError on_error)
      : on_error_(on_error),
        order_(kind == Encoding::kUtf16Le ? kLittle : kBig),
        read_mark_(kind == Encoding::kUtf16) {}

  Decoded Decode(const char* data, std::size_t size, bool last, std::wstring& out) override {
    std::size_t pos = 0;
    if (read_mark_) {
      if (size < 2 && !last) return {0};
      read_mark_ = false;
      if (size >= 2 && Unit(data, kLittle) == 0xFEFF) {
        order_ = kLittle;
        pos = 2;
      } else if (size >= 2 && Unit(data, kBig) == 0xFEFF) {
        pos = 2;
      }
    }
    std::size_t at = out.size();
    out.resize(at + size / 2 + 1);
    while (pos + 2 <= size) {
      const unsigned unit = Unit(data + pos, order_);
      if (unit < 0xD800 || unit > 0xDFFF) {
        out[at++] = static_cast<wchar_t>(unit);
        pos += 2;
        continue;
      }
      if (unit <= 0xDBFF && pos + 4 > size && !last) break;  // its pair is in the next piece
      const unsigned low = pos + 4 <= size ? Unit(data + pos + 2, order_) : 0;
      if (unit <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF) {
        out[at++] = static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        pos += 4;
        continue;
      }
      if (on_error_ == OnError::kFail) {
        out.resize(at);
        return {pos, "unpaired surrogate", Hex4(unit)};
      }
      if (on_error_ == OnError::kSubstitute) out[at++] = kReplacement;
      pos += 2;
    }
    out.resize(at);
    if (last && pos < size) {
      if (on_error_ != OnError::kSubstitute) return {pos, "odd number of bytes"};
      out += kReplacement;
      pos = size;
    }
    return {pos};
  }

 private:
  enum Order { kBig, kLittle };
  static unsigned Unit(const char* p, Order order) {
    const unsigned a = static_cast<unsigned char>(p[0]), b = static_cast<unsigned char>(p[1]);
    return order == kBig ? (a << 8 | b) : (b << 8 | a);
  }
  OnError on_error_;
  Order order_;
  bool read_mark_;
};

class Latin1Decoder : public Decoder {
 public:
  Decoded Decode(const char* data, std::size_t size, bool, std::wstring& out) override {
    const std::size_t at = out.size();
    out.resize(at + size);
    for (std::size_t i = 0; i < size; ++i) {
      out[at + i] = static_cast<wchar_t>(static_cast<unsigned char>(data[i]));
    }
    return {size};
  }
};

class Utf8Encoder : public Encoder {
 public:
  using Encoder::Encoder;

 protected:
  std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) override {
    std::size_t held = 0;  // code points the codec may take: up to the first it must refuse
    while (held < size) {
      const auto v = static_cast<std::uint32_t>(data[held]);
      if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) break;
      ++held;
    }
    std::size_t at = out.size();
    out.resize(at + 4 * held);
    std::size_t pos = 0;
    while (pos < held) {  // the codec stops at zero elements: those are added here
      std::size_t run = 0;
      while (pos + run < held && data[pos + run] != 0) ++run;
      if (run > 0) at += wchar_to_utf8(data + pos, run, &out[at], 4 * run, 0);
      if (pos + run < held) out[at++] = '\0';
      pos += run + (pos + run < held ? 1 : 0);
    }
    out.resize(at);
    return held;
  }
};

class Utf16Encoder : public Encoder {
 public:
  Utf16Encoder(Encoding::Kind kind, OnError on_error)
      : Encoder(on_error), little_(kind == Encoding::kUtf16Le), mark_(kind == Encoding::kUtf16) {}

 protected:
  std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) override {
    if (mark_ && size > 0) {
      out += "\xFE\xFF";
      mark_ = false;
    }
    std::size_t at = out.size();
    out.resize(at + 4 * size);
    char* p = &out[at];
    std::size_t i = 0;
    for (; i < size; ++i) {
      const auto v = static_cast<std::uint32_t>(data[i]);
      if (v < 0xD800 || (v > 0xDFFF && v < 0x10000)) {
        p = Put(p, v);
      } else if (v >= 0x10000 && v <= 0x10FFFF) {
        p = Put(Put(p, 0xD800 + ((v - 0x10000) >> 10)), 0xDC00 + ((v - 0x10000) & 0x3FF));
      } else {
        break;
      }
    }
    out.resize(static_cast<std::size_t>(p - out.data()));
    return i;
  }

 private:
  char* Put(char* p, std::uint32_t unit) const {
    p[little_ ? 1 : 0] = static_cast<char>(unit >> 8);
    p[little_ ? 0 : 1] = static_cast<char>(unit & 0xFF);
    return p + 2;
  }
  bool little_;
  bool mark_;
};

class Latin1Encoder : public Encoder {
 public:
  using Encoder::Encoder;

 protected:
  std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) override {
    const std::size_t at = out.size();
    out.resize(at + size);
    std::size_t i = 0;
    for (; i < size && static_cast<std::uint32_t>(data[i]) <= 0xFF; ++i) {
      out[at + i] = static_cast<char>(data[i]);
    }
    out.resize(at + i);
    return i;
  }
};

}  // namespace

std::unique_ptr<Decoder> MakeUnicodeDecoder(Encoding::Kind kind, OnError on_error) {
  if (kind == Encoding::kUtf8) return std::make_unique<Utf8Decoder>(on_error);
  if (kind == Encoding::kLatin1) return std::make_unique<Latin1Decoder>();
  return std::make_unique<Utf16Decoder>(kind, on_error);
}

std::unique_ptr<Encoder> MakeUnicodeEncoder(Encoding::Kind kind, OnError on_error) {
  if (kind == Encoding::kUtf8) return std::make_unique<Utf8Encoder>(on_error);
  if (kind == Encoding::kLatin1) return std::make_unique<Latin1Encoder>(on_error);
  return std::make_unique<Utf16Encoder>(kind, on_error);
}

}  // namespace tool
