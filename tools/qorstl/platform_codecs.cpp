// Streaming decoders and encoders through the platform's iconv(3), and through the library for
// the charset of a named locale.
#include <iconv.h>
#include <locale.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "encodings.h"
#include "qor/qorstl.h"
#include "tool.h"

namespace tool {
namespace {

// iconv's name for the code points the tool works on: UTF-32 in this machine's byte order.
const char* WideName() {
  const std::uint32_t one = 1;
  unsigned char first;
  std::memcpy(&first, &one, 1);
  return first == 1 ? "UTF-32LE" : "UTF-32BE";
}

class Iconv {
 public:
  Iconv(const std::string& to, const std::string& from)
      : cd_(iconv_open(to.c_str(), from.c_str())) {}
  ~Iconv() {
    if (ok()) iconv_close(cd_);
  }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;
  bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
  // One call of iconv(3); the pointers advance. Returns 0 or the errno.
  int Convert(const char** in, std::size_t* in_left, char** out, std::size_t* out_left) {
    const std::size_t r = iconv(cd_, const_cast<char**>(in), in_left, out, out_left);
    return r == static_cast<std::size_t>(-1) ? errno : 0;
  }
  int Reset(char** out, std::size_t* out_left) {
    const std::size_t r = iconv(cd_, nullptr, nullptr, out, out_left);
    return r == static_cast<std::size_t>(-1) ? errno : 0;
  }

 private:
  iconv_t cd_;
};

class IconvDecoder : public Decoder {
 public:
  IconvDecoder(const std::string& charset, OnError on_error)
      // Dropping is iconv's own, so that what is left out is exactly what iconv -c leaves out.
      : iconv_(std::string(WideName()) + (on_error == OnError::kDrop ? "//IGNORE" : ""), charset),
        on_error_(on_error) {
    if (!iconv_.ok()) throw Failure{"cannot convert from " + charset};
  }

  Decoded Decode(const char* data, std::size_t size, bool last, std::wstring& out) override {
    const char* in = data;
    std::size_t in_left = size;
    std::size_t at = out.size();
    while (in_left > 0) {
      out.resize(at + in_left + 64);
      char* to = reinterpret_cast<char*>(&out[at]);
      std::size_t to_left = (out.size() - at) * sizeof(wchar_t);
      const char* before = in;
      const int error = iconv_.Convert(&in, &in_left, &to, &to_left);
      at = static_cast<std::size_t>(reinterpret_cast<wchar_t*>(to) - out.data());
      if (error == 0 || error == E2BIG) continue;
      if (error == EINVAL) {  // a character cut short by the end of the bytes given
        if (!last) break;
        if (on_error_ != OnError::kSubstitute) {
          out.resize(at);
          return {static_cast<std::size_t>(in - data), "incomplete character at end"};
        }
        out.resize(at + 1);
        out[at++] = kReplacement;
        in += in_left;
        in_left = 0;
      } else if (error == EILSEQ) {
        if (on_error_ == OnError::kFail) {
          out.resize(at);
          return {static_cast<std::size_t>(in - data), "malformed sequence"};
        }
        if (on_error_ == OnError::kDrop && in != before) continue;  // iconv skipped it already
        if (on_error_ == OnError::kSubstitute) {
          out.resize(at + 1);
          out[at++] = kReplacement;
        }
        ++in;
        --in_left;
      } else {
        throw Failure{std::string("iconv: ") + std::strerror(error)};
      }
    }
    out.resize(at);
    return {static_cast<std::size_t>(in - data)};
  }

 private:
  Iconv iconv_;
  OnError on_error_;
};

class IconvEncoder : public Encoder {
 public:
  IconvEncoder(const std::string& charset, OnError on_error)
      : Encoder(on_error), iconv_(charset, WideName()) {
    if (!iconv_.ok()) throw Failure{"cannot convert to " + charset};
  }

  void Finish(std::string& out) override {
    const std::size_t at = out.size();
    out.resize(at + 64);
    char* to = &out[at];
    std::size_t to_left = 64;
    iconv_.Reset(&to, &to_left);
    out.resize(at + 64 - to_left);
  }

 protected:
  std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) override {
    const char* in = reinterpret_cast<const char*>(data);
    std::size_t in_left = size * sizeof(wchar_t);
    std::size_t at = out.size();
    while (in_left > 0) {
      out.resize(at + in_left + 64);
      char* to = &out[at];
      std::size_t to_left = out.size() - at;
      const int error = iconv_.Convert(&in, &in_left, &to, &to_left);
      at = static_cast<std::size_t>(to - out.data());
      if (error == 0 || error == E2BIG) continue;
      break;  // EILSEQ: a code point the charset lacks
    }
    out.resize(at);
    return size - in_left / sizeof(wchar_t);
  }

 private:
  Iconv iconv_;
};

// ---- Locales, through the library ----

// The library answers a conversion it cannot make with a fixed message in place of the text. The
// tool takes those messages from the library's own answers to what its header calls unconvertible
// (a cut-short sequence, a value above 0x10FFFF), so it never keeps a copy that could drift.
const std::wstring& FromBytesFailure() {
  static const std::wstring message = qor::string_string_to_wstring("\xC3", "utf-8");
  return message;
}

const std::string& ToBytesFailure() {
  static const std::string message =
      qor::string_wstring_to_string(std::wstring(1, static_cast<wchar_t>(0x110000)), "utf-8");
  return message;
}

class LocaleDecoder : public Decoder {
 public:
  LocaleDecoder(const std::string& locale, OnError on_error)
      : name_(locale),
        on_error_(on_error),
        locale_(newlocale(LC_CTYPE_MASK, locale.c_str(), static_cast<locale_t>(0))) {
    if (locale_ == static_cast<locale_t>(0)) throw Failure{"no locale " + locale};
  }
  ~LocaleDecoder() override { freelocale(locale_); }

  Decoded Decode(const char* data, std::size_t size, bool last, std::wstring& out) override {
    // A locale's charset keeps ASCII as it is, so a line feed always ends a character: the
    // library gets whole lines. A very long line is cut where the locale says a character ends.
    std::size_t end = size;
    if (!last) {
      while (end > 0 && data[end - 1] != '\n') --end;
      if (end > 0) {
      } else if (size < 4 * kChunkLimit) {
        return {0};
      } else {
        return Walk(data, size, false, out);
      }
    }
    const std::string piece(data, end);
    const std::wstring wide = qor::string_string_to_wstring(piece, name_);
    if (wide == FromBytesFailure() && qor::string_wstring_to_string(wide, name_) != piece) {
      return Walk(data, end, last, out);  // find the malformed character
    }
    out += wide;
    return {end};
  }

 private:
  static constexpr std::size_t kChunkLimit = 1 << 20;

  // Character by character with the locale's own rules.
  Decoded Walk(const char* data, std::size_t size, bool last, std::wstring& out) {
    const locale_t previous = uselocale(locale_);
    std::mbstate_t state{};
    std::size_t pos = 0;
    Decoded result{size};
    while (pos < size) {
      wchar_t c;
      const std::size_t n = std::mbrtowc(&c, data + pos, size - pos, &state);
      if (n == static_cast<std::size_t>(-2)) {
        if (!last) {
          result.consumed = pos;
          break;
        }
        if (on_error_ != OnError::kSubstitute) {
          result = {pos, "incomplete character at end"};
          break;
        }
        out += kReplacement;
        pos = size;
      } else if (n == static_cast<std::size_t>(-1)) {
        if (on_error_ == OnError::kFail) {
          result = {pos, "malformed sequence"};
          break;
        }
        if (on_error_ == OnError::kSubstitute) out += kReplacement;
        state = std::mbstate_t{};
        ++pos;
      } else {
        out += c;
        pos += n == 0 ? 1 : n;
      }
    }
    uselocale(previous);
    return result;
  }

  std::string name_;
  OnError on_error_;
  locale_t locale_;
};

class LocaleEncoder : public Encoder {
 public:
  LocaleEncoder(const std::string& locale, OnError on_error) : Encoder(on_error), name_(locale) {}

 protected:
  std::size_t EncodeRun(const wchar_t* data, std::size_t size, std::string& out) override {
    if (Try(data, size, out)) return size;
    // The shortest prefix that fails ends with the first character the charset lacks.
    std::size_t good = 0, bad = size;
    std::string ignored;
    while (bad - good > 1) {
      const std::size_t mid = good + (bad - good) / 2;
      (Try(data, mid, ignored) ? good : bad) = mid;
      ignored.clear();
    }
    Try(data, bad - 1, out);
    return bad - 1;
  }

 private:
  bool Try(const wchar_t* data, std::size_t size, std::string& out) {
    const std::wstring wide(data, size);
    std::string bytes = qor::string_wstring_to_string(wide, name_);
    if (bytes == ToBytesFailure() && qor::string_string_to_wstring(bytes, name_) != wide)
      return false;
    out += bytes;
    return true;
  }

  std::string name_;
};

}  // namespace

bool IconvKnows(const std::string& charset) {
  Iconv from(WideName(), charset), to(charset, WideName());
  return from.ok() && to.ok();
}

std::unique_ptr<Decoder> MakeIconvDecoder(const std::string& charset, OnError on_error) {
  return std::make_unique<IconvDecoder>(charset, on_error);
}
std::unique_ptr<Encoder> MakeIconvEncoder(const std::string& charset, OnError on_error) {
  return std::make_unique<IconvEncoder>(charset, on_error);
}
std::unique_ptr<Decoder> MakeLocaleDecoder(const std::string& locale, OnError on_error) {
  return std::make_unique<LocaleDecoder>(locale, on_error);
}
std::unique_ptr<Encoder> MakeLocaleEncoder(const std::string& locale, OnError on_error) {
  return std::make_unique<LocaleEncoder>(locale, on_error);
}

}  // namespace tool
