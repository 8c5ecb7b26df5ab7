// qorstl: the library's command-line tool. Re-encodes files, tells what encoding a file holds and
// where it stops being UTF-8, finds the first of several patterns, and splits, trims and replaces
// text on standard input. Built on the public API of libqorstl and POSIX only.
#include <dirent.h>
#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qor/qorstl.h"

namespace {

// Exit statuses, in the manner of grep and iconv.
constexpr int kOk = 0;
constexpr int kNotFound = 1;  // a search found nothing; check: a file is in none of the encodings
constexpr int kError = 2;     // usage, I/O or conversion error

const char kFromBytesError[] = "wstring_convert: from_bytes error";
const char kToBytesError[] = "wstring_convert: to_bytes error";

// ---- Messages ----------------------------------------------------------------------------------

struct Failure {
  std::string message;
};

int Fail(const std::string& message) {
  std::fprintf(stderr, "qorstl: %s\n", message.c_str());
  return kError;
}

int Usage(const char* command, const std::string& message) {
  std::fprintf(stderr, "qorstl: %s\nTry 'qorstl %s%s--help' for more information.\n",
               message.c_str(), command, *command ? " " : "");
  return kError;
}

// ---- Input and output --------------------------------------------------------------------------

// Reads all of standard input; throws Failure on a read error.
std::string ReadStdin() {
  std::string data;
  char buffer[1 << 16];
  for (;;) {
    const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
    if (n > 0) {
      data.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0) {
      return data;
    } else if (errno != EINTR) {
      throw Failure{std::string("cannot read standard input: ") + std::strerror(errno)};
    }
  }
}

// The bytes of `path` ("-" is standard input); throws Failure naming the file and the reason.
std::string ReadInput(const std::string& path) {
  if (path == "-") return ReadStdin();
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    throw Failure{path + ": " + std::strerror(errno)};
  }
  if (S_ISDIR(info.st_mode)) throw Failure{path + ": is a directory"};
  std::string data = qor::dump_file(path);
  if (data.empty()) {
    if (info.st_size == 0) return data;
    // dump_file only says "empty"; ask the system why.
    const int fd = open(path.c_str(), O_RDONLY);
    const int reason = fd < 0 ? errno : 0;
    if (fd >= 0) close(fd);
    throw Failure{path + ": " + (reason ? std::strerror(reason) : "cannot be read")};
  }
  data.pop_back();  // the zero byte that dump_file adds
  return data;
}

bool WriteAll(int fd, const std::string& data) {
  std::size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

// Writes `data` to `path` whole or not at all: into a new file beside it, which is then renamed
// over `path`. "-" is standard output. Throws Failure.
void WriteOutput(const std::string& path, const std::string& data) {
  if (path == "-") {
    if (!WriteAll(STDOUT_FILENO, data)) {
      throw Failure{std::string("cannot write standard output: ") + std::strerror(errno)};
    }
    return;
  }
  std::string temp = path + ".qorstl-XXXXXX";
  const int fd = mkstemp(&temp[0]);
  if (fd < 0) throw Failure{path + ": cannot create: " + std::strerror(errno)};
  // A new file gets the permissions the user's umask gives, as a plain redirection would.
  const mode_t mask = umask(0);
  umask(mask);
  struct stat existing;
  const mode_t mode = stat(path.c_str(), &existing) == 0 ? (existing.st_mode & 07777)
                                                         : static_cast<mode_t>(0666 & ~mask);
  bool ok = fchmod(fd, mode) == 0 && WriteAll(fd, data);
  int reason = ok ? 0 : errno;
  if (close(fd) != 0 && ok) {
    ok = false;
    reason = errno;
  }
  if (ok && rename(temp.c_str(), path.c_str()) != 0) {
    ok = false;
    reason = errno;
  }
  if (!ok) {
    unlink(temp.c_str());
    throw Failure{path + ": cannot write: " + std::strerror(reason)};
  }
}

// 1 + the number of line feeds before `pos`.
std::size_t LineOf(const std::string& text, std::size_t pos) {
  return 1 + static_cast<std::size_t>(
                 std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(pos), '\n'));
}

// Reads the escapes \n \t \r \0 \\ and \xHH in a command-line argument, so that sets and
// patterns can hold any byte.
std::string Unescape(const std::string& arg) {
  std::string out;
  for (std::size_t i = 0; i < arg.size(); ++i) {
    if (arg[i] != '\\' || i + 1 == arg.size()) {
      out += arg[i];
      continue;
    }
    const char e = arg[++i];
    if (e == 'n') {
      out += '\n';
    } else if (e == 't') {
      out += '\t';
    } else if (e == 'r') {
      out += '\r';
    } else if (e == '0') {
      out += '\0';
    } else if (e == 'x' && i + 2 < arg.size() &&
               std::isxdigit(static_cast<unsigned char>(arg[i + 1])) &&
               std::isxdigit(static_cast<unsigned char>(arg[i + 2]))) {
      out += static_cast<char>(std::stoi(arg.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += e;  // \\ and any other escaped byte stand for themselves
    }
  }
  return out;
}

// ---- Encoding names ----------------------------------------------------------------------------

// Upper case without '-', '_' and '.', so that "utf8", "UTF-8" and "utf_8" compare equal.
std::string Canonical(const std::string& name) {
  std::string out;
  for (char c : name) {
    if (c == '-' || c == '_' || c == '.') continue;
    out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return out;
}

// The charset a locale name uses, or "" when the system has no such locale.
std::string CharsetOfLocale(const std::string& name) {
  locale_t loc = newlocale(LC_CTYPE_MASK, name.c_str(), static_cast<locale_t>(0));
  if (loc == static_cast<locale_t>(0)) return "";
  std::string charset = nl_langinfo_l(CODESET, loc);
  freelocale(loc);
  return charset;
}

// Installed locales: those `locale -a` lists, then those in the directories of LOCPATH.
std::vector<std::string> InstalledLocales() {
  std::vector<std::string> names;
  if (FILE* pipe = popen("locale -a 2>/dev/null", "r")) {
    char line[512];
    while (std::fgets(line, sizeof line, pipe)) {
      std::string name = line;
      while (!name.empty() && (name.back() == '\n' || name.back() == '\r')) name.pop_back();
      if (!name.empty()) names.push_back(name);
    }
    pclose(pipe);
  }
  if (const char* locpath = std::getenv("LOCPATH")) {
    std::string dirs = locpath;
    std::size_t start = 0;
    while (start <= dirs.size()) {
      std::size_t end = dirs.find(':', start);
      if (end == std::string::npos) end = dirs.size();
      const std::string dir = dirs.substr(start, end - start);
      if (DIR* d = dir.empty() ? nullptr : opendir(dir.c_str())) {
        while (dirent* entry = readdir(d)) {
          const std::string name = entry->d_name;
          struct stat info;
          if (name[0] != '.' && stat((dir + "/" + name + "/LC_CTYPE").c_str(), &info) == 0) {
            names.push_back(name);
          }
        }
        closedir(d);
      }
      start = end + 1;
    }
  }
  return names;
}

// How the tool converts one side: a fixed name of the library, with a byte order for UTF-16, or
// a locale.
struct Encoding {
  enum Kind { kUtf8, kUtf8Utf16, kUtf16, kUtf16Be, kUtf16Le, kLocale } kind;
  std::string locale;  // for kLocale: the locale whose charset it is
  std::string label;   // for messages: what the user asked for
};

// Common spellings of charsets that a locale may carry.
std::string CharsetAlias(const std::string& canonical) {
  if (canonical == "LATIN1" || canonical == "L1" || canonical == "ISO88591" ||
      canonical == "ISO885911987" || canonical == "CP819" || canonical == "IBM819") {
    return "ISO88591";
  }
  if (canonical == "LATIN9" || canonical == "ISO885915") return "ISO885915";
  if (canonical == "ASCII" || canonical == "USASCII" || canonical == "ANSIX3.41968" ||
      canonical == "ANSIX341968") {
    return "ANSIX341968";
  }
  return canonical;
}

// The charset name localedef knows for a canonical charset, for the suggestion.
std::string CharmapName(const std::string& charset, const std::string& asked) {
  if (charset == "ISO88591") return "ISO-8859-1";
  if (charset == "ISO885915") return "ISO-8859-15";
  if (charset.rfind("ISO8859", 0) == 0) return "ISO-8859-" + charset.substr(7);
  return asked;
}

// Throws Failure when nothing on this system converts `name`.
Encoding ResolveEncoding(const std::string& name) {
  const std::string c = Canonical(name);
  if (c == "UTF8" || c.empty()) return {Encoding::kUtf8, "", name};
  if (c == "UTF816") return {Encoding::kUtf8Utf16, "", name};
  if (c == "UTF16") return {Encoding::kUtf16, "", name};
  if (c == "UTF16BE") return {Encoding::kUtf16Be, "", name};
  if (c == "UTF16LE") return {Encoding::kUtf16Le, "", name};
  // A locale of that very name.
  if (name.find('/') == std::string::npos && !CharsetOfLocale(name).empty()) {
    return {Encoding::kLocale, name, name};
  }
  // An installed locale whose charset matches.
  const std::string wanted = CharsetAlias(c);
  for (const std::string& locale : InstalledLocales()) {
    const std::string charset = CharsetOfLocale(locale);
    if (!charset.empty() && CharsetAlias(Canonical(charset)) == wanted) {
      return {Encoding::kLocale, locale, name};
    }
  }
  const std::string charmap = CharmapName(wanted, name);
  throw Failure{"no installed locale uses the charset " + name +
                "; this command creates one (as root):\n  localedef -i en_US -f " + charmap +
                " en_US." + charmap +
                "\n(without root, give localedef a directory such as ./locale/en_US." + charmap +
                " and set LOCPATH=./locale)"};
}

// ---- Conversion --------------------------------------------------------------------------------

std::string Hex4(std::uint32_t v) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(v));
  return buffer;
}

// Joins UTF-16 code units into code points; throws Failure at an unpaired surrogate.
std::wstring JoinSurrogates(const std::wstring& units, const std::string& what) {
  std::wstring out;
  out.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    const auto u = static_cast<std::uint32_t>(units[i]);
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size()) {
      const auto low = static_cast<std::uint32_t>(units[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
        ++i;
        continue;
      }
    }
    if (u >= 0xD800 && u <= 0xDFFF) {
      throw Failure{what + ": not valid UTF-16: unpaired surrogate " + Hex4(u) + " (code unit " +
                    std::to_string(i) + ")"};
    }
    out += static_cast<wchar_t>(u);
  }
  return out;
}

std::wstring SplitSurrogates(const std::wstring& points) {
  std::wstring out;
  out.reserve(points.size());
  for (wchar_t w : points) {
    const auto v = static_cast<std::uint32_t>(w);
    if (v >= 0x10000 && v <= 0x10FFFF) {
      out += static_cast<wchar_t>(0xD800 + ((v - 0x10000) >> 10));
      out += static_cast<wchar_t>(0xDC00 + ((v - 0x10000) & 0x3FF));
    } else {
      out += w;
    }
  }
  return out;
}

void SwapPairs(std::string& bytes) {
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
}

bool IsFromBytesError(const std::wstring& result) {
  return result.size() == sizeof kFromBytesError - 1 &&
         std::equal(result.begin(), result.end(), kFromBytesError);
}

// `bytes` decoded with the library's name `library_name`; Failure when the library answers with
// its error text (unless the input really spells that text).
std::wstring DecodeOrFail(const std::string& bytes, const std::string& library_name,
                          const std::string& what, const std::string& charset) {
  std::wstring wide = qor::string_string_to_wstring(bytes, library_name);
  if (IsFromBytesError(wide) && qor::string_wstring_to_string(wide, library_name) != bytes) {
    std::string where;
    if (library_name == "utf-8" || library_name == "utf-8-16") {
      const std::size_t pos = qor::string_utf8_find_invalid(bytes, true);
      if (pos != std::string::npos) {
        where = ": malformed sequence at byte " + std::to_string(pos) + ", line " +
                std::to_string(LineOf(bytes, pos));
      }
    } else if (library_name == "utf-16" && bytes.size() % 2 != 0) {
      where = ": odd number of bytes";
    }
    throw Failure{what + ": not valid " + charset + " text" + where};
  }
  return wide;
}

std::string Display(const std::string& path) {
  return path == "-" ? "standard input" : path;
}

// Decodes the bytes read from `path` to code points.
std::wstring Decode(const std::string& bytes, const Encoding& from, const std::string& path) {
  const std::string what = Display(path);
  switch (from.kind) {
    case Encoding::kUtf8:
      return DecodeOrFail(bytes, "utf-8", what, "UTF-8");
    case Encoding::kUtf8Utf16:
      return JoinSurrogates(DecodeOrFail(bytes, "utf-8-16", what, "UTF-8"), what);
    case Encoding::kUtf16:
      if (bytes.size() >= 2 && ((bytes[0] == '\xFF' && bytes[1] == '\xFE') ||
                                (bytes[0] == '\xFE' && bytes[1] == '\xFF'))) {
        if (bytes.size() % 2 != 0) throw Failure{what + ": not valid UTF-16: odd number of bytes"};
        std::wstring units;
        if (path != "-") {
          units = qor::dump_utf16_file(path);  // reads either byte order after its mark
        } else {
          std::string body = bytes.substr(2);
          if (bytes[0] == '\xFF') SwapPairs(body);
          for (std::size_t i = 0; i < body.size(); i += 2) {
            units += static_cast<wchar_t>(static_cast<unsigned char>(body[i]) << 8 |
                                          static_cast<unsigned char>(body[i + 1]));
          }
        }
        return JoinSurrogates(units, what);
      }
      return DecodeOrFail(bytes, "utf-16", what, "UTF-16");
    case Encoding::kUtf16Be:
      return DecodeOrFail(bytes, "utf-16", what, "UTF-16BE");
    case Encoding::kUtf16Le: {
      std::string swapped = bytes;
      SwapPairs(swapped);
      return DecodeOrFail(swapped, "utf-16", what, "UTF-16LE");
    }
    case Encoding::kLocale:
      return DecodeOrFail(bytes, from.locale, what, from.label + " (locale " + from.locale + ")");
  }
  return std::wstring();
}

// Encodes code points; Failure names the first character the target cannot hold.
std::string Encode(const std::wstring& text, const Encoding& to, const std::string& what) {
  std::string library_name;
  std::wstring split;  // "utf-8-16" takes code units: pairs for code points above 0xFFFF
  switch (to.kind) {
    case Encoding::kUtf8:
      library_name = "utf-8";
      break;
    case Encoding::kUtf8Utf16:
      library_name = "utf-8-16";
      split = SplitSurrogates(text);
      break;
    case Encoding::kUtf16:
    case Encoding::kUtf16Be:
    case Encoding::kUtf16Le:
      library_name = "utf-16";
      break;
    case Encoding::kLocale:
      library_name = to.locale;
      break;
  }
  const std::wstring& wide = to.kind == Encoding::kUtf8Utf16 ? split : text;
  std::string out = qor::string_wstring_to_string(wide, library_name);
  if (out == kToBytesError &&
      qor::string_string_to_wstring(out, library_name) != wide) {  // a real failure
    // The shortest prefix that fails ends with the first character the encoding lacks.
    std::size_t good = 0, bad = text.size();
    while (bad - good > 1) {
      const std::size_t mid = good + (bad - good) / 2;
      const std::wstring prefix = text.substr(0, mid);
      if (qor::string_wstring_to_string(prefix, library_name) == kToBytesError) {
        bad = mid;
      } else {
        good = mid;
      }
    }
    const std::wstring before = text.substr(0, bad - 1);
    const std::size_t line =
        1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), L'\n'));
    throw Failure{what + ": character " + Hex4(static_cast<std::uint32_t>(text[bad - 1])) +
                  " (character " + std::to_string(bad) + ", line " + std::to_string(line) +
                  ") cannot be written in " + to.label};
  }
  if (to.kind == Encoding::kUtf16Le) SwapPairs(out);
  return out;
}

// True when the input can be converted in pieces cut after a line feed: its encoding is
// stateless and a byte 0A is always a whole line feed (UTF-8 and single-byte charsets).
bool CutsAtLineFeeds(const Encoding& from) {
  if (from.kind == Encoding::kUtf8 || from.kind == Encoding::kUtf8Utf16) return true;
  if (from.kind != Encoding::kLocale) return false;
  const std::string charset = Canonical(CharsetOfLocale(from.locale));
  for (const char* prefix : {"UTF8", "ISO8859", "KOI8", "CP125", "WINDOWS125", "ANSIX341968"}) {
    if (charset.rfind(prefix, 0) == 0) return true;
  }
  return false;
}

// Converts one input. Large inputs go in pieces of about a megabyte, which keeps the wide text
// small and in cache; if a piece fails, the whole input is converted again for the exact message
// (byte offsets and lines count from the start of the input).
std::string ConvertInput(const std::string& bytes, const Encoding& from, const Encoding& to,
                         const std::string& path) {
  constexpr std::size_t kPiece = 1 << 20;
  if (bytes.size() <= 2 * kPiece || !CutsAtLineFeeds(from)) {
    return Encode(Decode(bytes, from, path), to, Display(path));
  }
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 4);
  try {
    std::size_t start = 0;
    while (start < bytes.size()) {
      std::size_t end = std::min(bytes.size(), start + kPiece);
      if (end < bytes.size()) {
        const std::size_t line_feed = bytes.rfind('\n', end - 1);
        if (line_feed != std::string::npos && line_feed >= start) end = line_feed + 1;
      }
      out += Encode(Decode(bytes.substr(start, end - start), from, path), to, Display(path));
      start = end;
    }
  } catch (const Failure&) {
    return Encode(Decode(bytes, from, path), to, Display(path));
  }
  return out;
}

int ListEncodings() {
  std::puts("UTF-8\nUTF-16 (big-endian out; in, a byte-order mark of either order is read)");
  std::puts("UTF-16BE\nUTF-16LE\nUTF-8-16");
  std::vector<std::string> seen;
  for (const std::string& locale : InstalledLocales()) {
    const std::string charset = CharsetOfLocale(locale);
    if (charset.empty()) continue;
    std::printf("%s (locale %s)\n", charset.c_str(), locale.c_str());
  }
  return kOk;
}

const char kConvertHelp[] =
    "Usage: qorstl convert [-f FROM] [-t TO] [-o OUTPUT] [FILE...]\n"
    "       qorstl convert -l\n"
    "Re-encode the FILEs (standard input when none is given, or for '-') from FROM to TO and\n"
    "write them, one after the other, to OUTPUT or standard output.\n"
    "\n"
    "  -f, --from-code=NAME  encoding of the input (default UTF-8)\n"
    "  -t, --to-code=NAME    encoding of the output (default UTF-8)\n"
    "  -o, --output=FILE     write to FILE: whole or not at all (a new file renamed over it)\n"
    "  -l, --list            list the encodings this system converts\n"
    "\n"
    "NAME is UTF-8, UTF-16 (big-endian; on input a byte-order mark of either order picks the\n"
    "order and is dropped), UTF-16BE, UTF-16LE, UTF-8-16, a charset such as ISO-8859-1 or\n"
    "latin1 (converted through an installed locale that uses it), or a locale name.\n"
    "Exit status: 0 on success, 2 on a usage, I/O or conversion error (nothing is written).\n";

// Splits "--name=value" or takes the value from the next argument.
bool OptionValue(const std::vector<std::string>& args, std::size_t& i, const char* short_name,
                 const char* long_name, std::string& value) {
  const std::string& a = args[i];
  const std::string long_eq = std::string(long_name) + "=";
  if (a == short_name || a == long_name) {
    if (i + 1 >= args.size()) throw Failure{std::string("option ") + a + " needs a value"};
    value = args[++i];
    return true;
  }
  if (a.rfind(long_eq, 0) == 0) {
    value = a.substr(long_eq.size());
    return true;
  }
  if (a.size() > 2 && a.compare(0, 2, short_name) == 0 && a[1] != '-') {  // -fLATIN1
    value = a.substr(2);
    return true;
  }
  return false;
}

int Convert(const std::vector<std::string>& args) {
  std::string from = "UTF-8", to = "UTF-8", output = "-";
  std::vector<std::string> files;
  bool list = false;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") {
        std::fputs(kConvertHelp, stdout);
        return kOk;
      } else if (a == "-l" || a == "--list") {
        list = true;
      } else if (OptionValue(args, i, "-f", "--from-code", from) ||
                 OptionValue(args, i, "-t", "--to-code", to) ||
                 OptionValue(args, i, "-o", "--output", output)) {
      } else if (a == "--") {
        files.insert(files.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
        break;
      } else if (a.size() > 1 && a[0] == '-') {
        return Usage("convert", "unknown option " + a);
      } else {
        files.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage("convert", f.message);
  }
  if (list) return ListEncodings();
  if (files.empty()) files.push_back("-");
  try {
    const Encoding source = ResolveEncoding(from);
    const Encoding target = ResolveEncoding(to);
    std::string result;
    for (const std::string& file : files) {
      std::string converted = ConvertInput(ReadInput(file), source, target, file);
      if (result.empty()) {
        result.swap(converted);
      } else {
        result += converted;
      }
    }
    WriteOutput(output, result);
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return kOk;
}

// ---- check -------------------------------------------------------------------------------------

const char kCheckHelp[] =
    "Usage: qorstl check [--31-bit] FILE...\n"
    "Say for each FILE ('-' for standard input) whether it is ASCII, UTF-8 (with or without a\n"
    "byte-order mark), UTF-16 with a byte-order mark, or none of these; for text that is not\n"
    "UTF-8, give the byte offset and line of the first malformed sequence.\n"
    "\n"
    "  --31-bit  judge UTF-8 by the codec's 31-bit rules (one to six bytes, values up to\n"
    "            0x7FFFFFFF, overlong forms pass) instead of the standard rules\n"
    "\n"
    "Exit status: 0 when every file is in one of these encodings, 1 when one is not, 2 on a\n"
    "usage or I/O error.\n";

int Check(const std::vector<std::string>& args) {
  bool standard = true;
  std::vector<std::string> files;
  for (const std::string& a : args) {
    if (a == "--help" || a == "-h") {
      std::fputs(kCheckHelp, stdout);
      return kOk;
    } else if (a == "--31-bit") {
      standard = false;
    } else if (a.size() > 1 && a[0] == '-') {
      return Usage("check", "unknown option " + a);
    } else {
      files.push_back(a);
    }
  }
  if (files.empty()) return Usage("check", "no file to check");
  int status = kOk;
  for (const std::string& file : files) {
    std::string text;
    try {
      text = ReadInput(file);
    } catch (const Failure& f) {
      Fail(f.message);
      status = kError;
      continue;
    }
    const char* name = file == "-" ? "standard input" : file.c_str();
    std::string verdict;
    if (text.size() >= 2 && text[0] == '\xFF' && text[1] == '\xFE') {
      verdict = "UTF-16LE with byte-order mark";
    } else if (text.size() >= 2 && text[0] == '\xFE' && text[1] == '\xFF') {
      verdict = "UTF-16BE with byte-order mark";
    } else if (qor::string_is_ascii_string(text)) {
      verdict = "ASCII";
    } else {
      const std::size_t pos = qor::string_utf8_find_invalid(text, standard);
      if (pos == std::string::npos) {
        verdict = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? "UTF-8 with byte-order mark" : "UTF-8";
      } else {
        char byte[8];
        std::snprintf(byte, sizeof byte, "%02X", static_cast<unsigned char>(text[pos]));
        verdict = "not UTF-8: malformed sequence at byte " + std::to_string(pos) + ", line " +
                  std::to_string(LineOf(text, pos)) + " (byte " + byte + ")";
        if (status == kOk) status = kNotFound;
      }
    }
    std::printf("%s: %s\n", name, verdict.c_str());
  }
  return status;
}

// ---- find --------------------------------------------------------------------------------------

const char kFindHelp[] =
    "Usage: qorstl find [--mode MODE] PATTERN... [FILE]\n"
    "Search FILE (standard input when it is not given) for the PATTERNs and print the winner:\n"
    "its byte offset, its line and the pattern, as 'OFFSET:LINE:PATTERN'. With two or more\n"
    "operands the last one is the FILE when it names an existing file or is '-'.\n"
    "Patterns are bytes, matched exactly; they may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "\n"
    "  --mode MODE  which pattern wins:\n"
    "    earliest   the one that occurs first in the text (the default)\n"
    "    list       the first in the order given that occurs anywhere\n"
    "    shortest   the shortest that occurs   longest  the longest that occurs\n"
    "    min        the smallest in byte order max      the greatest in byte order\n"
    "\n"
    "Exit status: 0 when a pattern occurs, 1 when none does, 2 on a usage or I/O error.\n";

bool IsExistingFile(const std::string& path) {
  struct stat info;
  return path == "-" || (stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode));
}

int Find(const std::vector<std::string>& args) {
  std::string mode = "earliest";
  std::vector<std::string> operands;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") {
        std::fputs(kFindHelp, stdout);
        return kOk;
      } else if (OptionValue(args, i, "-m", "--mode", mode)) {
      } else if (a == "--") {
        operands.insert(operands.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                        args.end());
        break;
      } else {
        operands.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage("find", f.message);
  }
  static const char* const kModes[] = {"list", "shortest", "longest", "min", "max", "earliest"};
  const auto* const known = std::find(std::begin(kModes), std::end(kModes), mode);
  if (known == std::end(kModes)) return Usage("find", "unknown mode " + mode);
  if (operands.empty()) return Usage("find", "no pattern given");
  std::string file = "-";
  if (operands.size() >= 2 && IsExistingFile(operands.back())) {
    file = operands.back();
    operands.pop_back();
  }
  std::vector<std::string> patterns;
  for (const std::string& p : operands) patterns.push_back(Unescape(p));
  std::string text;
  try {
    text = ReadInput(file);
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  std::size_t pos;
  std::size_t winner;
  if (mode == "earliest") {
    int index = 0;
    pos = qor::string_find_first_one_of(text, patterns, index);
    winner = static_cast<std::size_t>(index);
  } else {
    unsigned int index = 0;
    const int library_mode = static_cast<int>(known - std::begin(kModes));  // list is 0
    pos = qor::string_find(text, patterns, index, library_mode);
    winner = index;
  }
  if (pos == std::string::npos) return kNotFound;
  std::printf("%zu:%zu:%s\n", pos, LineOf(text, pos), operands[winner].c_str());
  return kOk;
}

// ---- split, trim, replace ----------------------------------------------------------------------

const char kSplitHelp[] =
    "Usage: qorstl split --by SET\n"
    "Split standard input at every byte of SET and print each non-empty piece on a line.\n"
    "SET may use \\n \\t \\r \\0 \\\\ and \\xHH. Exit status: 0, or 2 on a usage or I/O error.\n";
const char kTrimHelp[] =
    "Usage: qorstl trim [--chars SET]\n"
    "Strip the bytes of SET (default: space, tab and carriage return) from both ends of every\n"
    "line of standard input. SET may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "Exit status: 0, or 2 on a usage or I/O error.\n";
const char kReplaceHelp[] =
    "Usage: qorstl replace FROM TO\n"
    "Replace every occurrence of FROM in standard input by TO, left to right, without\n"
    "overlaps. FROM and TO may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "Exit status: 0, or 2 on a usage or I/O error.\n";

int Filter(const std::string& command, const std::vector<std::string>& args) {
  std::string set = command == "trim" ? " \t\r" : "";
  bool have_set = command == "trim";
  std::vector<std::string> operands;
  const char* help = command == "split" ? kSplitHelp : command == "trim" ? kTrimHelp : kReplaceHelp;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") {
        std::fputs(help, stdout);
        return kOk;
      } else if (command != "replace" && (OptionValue(args, i, "-b", "--by", set) ||
                                          OptionValue(args, i, "-c", "--chars", set))) {
        have_set = true;
      } else if (a.size() > 1 && a[0] == '-' && command != "replace") {
        return Usage(command.c_str(), "unknown option " + a);
      } else {
        operands.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage(command.c_str(), f.message);
  }
  if (command == "replace" ? operands.size() != 2 : !operands.empty()) {
    return Usage(command.c_str(), command == "replace" ? "replace needs FROM and TO"
                                                       : "unexpected operand " + operands[0]);
  }
  if (!have_set && command == "split") return Usage("split", "split needs --by SET");
  try {
    std::string text = ReadStdin();
    std::string out;
    if (command == "split") {
      std::vector<std::string> pieces;
      qor::stringarray_builder_by_splittoken(text, pieces, Unescape(set));
      for (const std::string& piece : pieces) out += piece + "\n";
    } else if (command == "trim") {
      const std::string chars = Unescape(set);
      std::size_t start = 0;
      while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        const bool newline = end != std::string::npos;
        if (!newline) end = text.size();
        std::string line = text.substr(start, end - start);
        out += qor::trim_both(line, chars);
        if (newline) out += '\n';
        start = end + 1;
      }
    } else {
      qor::string_replace(text, Unescape(operands[0]), Unescape(operands[1]));
      out.swap(text);
    }
    WriteOutput("-", out);
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return kOk;
}

// ---- main --------------------------------------------------------------------------------------

const char kHelp[] =
    "Usage: qorstl COMMAND [OPTION]... [ARGUMENT]...\n"
    "Text encodings and byte-exact text tools, built on libqorstl.\n"
    "\n"
    "Commands:\n"
    "  convert   re-encode files between UTF-8, UTF-16 and the charsets of installed locales\n"
    "  check     say whether files are ASCII, UTF-8 or UTF-16, and where UTF-8 breaks\n"
    "  find      find the first of several patterns: its offset, line and pattern\n"
    "  split     split standard input at a set of bytes, one piece a line\n"
    "  trim      strip a set of bytes from both ends of every line of standard input\n"
    "  replace   replace every occurrence of a byte string in standard input\n"
    "\n"
    "  --help     show this help ('qorstl COMMAND --help' for a command's own)\n"
    "  --version  show the version\n"
    "\n"
    "Exit status: 0 on success, 1 when a search finds nothing (or check finds a file in none of\n"
    "the encodings), 2 on a usage, I/O or conversion error.\n";

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return Usage("", "no command given");
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  if (command == "--version" || command == "-V") {
    std::printf("qorstl %d.%d.%d\n", QORSTL_VERSION_MAJOR, QORSTL_VERSION_MINOR,
                QORSTL_VERSION_PATCH);
    return kOk;
  }
  try {
    if (command == "convert") return Convert(args);
    if (command == "check") return Check(args);
    if (command == "find") return Find(args);
    if (command == "split" || command == "trim" || command == "replace") {
      return Filter(command, args);
    }
  } catch (const std::bad_alloc&) {
    return Fail("out of memory");
  }
  return Usage("", "unknown command " + command);
}
