// Encoding names of the qorstl tool: the library's Unicode forms, locales, and the charsets the
// platform's iconv(3) knows; suggestions for unknown names.
#include "encodings.h"

#include <dirent.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tool.h"

namespace tool {
namespace {

// Upper case without '-', '_', '.' and ':', so that "utf8", "UTF-8" and "utf_8" compare equal.
std::string Canonical(const std::string& name) {
  std::string out;
  for (char c : name) {
    if (c == '-' || c == '_' || c == '.' || c == ':') continue;
    out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return out;
}

bool IsLatin1(const std::string& canonical) {
  for (const char* alias :
       {"LATIN1", "L1", "ISO88591", "ISO885911987", "CP819", "IBM819", "ISOIR100", "CSISOLATIN1"}) {
    if (canonical == alias) return true;
  }
  return false;
}

// The charset a locale name uses, or "" when the system has no such locale.
std::string CharsetOfLocale(const std::string& name) {
  locale_t loc = newlocale(LC_CTYPE_MASK, name.c_str(), static_cast<locale_t>(0));
  if (loc == static_cast<locale_t>(0)) return "";
  std::string charset = nl_langinfo_l(CODESET, loc);
  freelocale(loc);
  return charset;
}

std::vector<std::string> Lines(const char* command) {
  std::vector<std::string> lines;
  if (FILE* pipe = popen(command, "r")) {
    char line[512];
    while (std::fgets(line, sizeof line, pipe)) {
      std::string text = line;
      while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.pop_back();
      }
      if (!text.empty()) lines.push_back(text);
    }
    pclose(pipe);
  }
  return lines;
}

// Installed locales: those `locale -a` lists, then those in the directories of LOCPATH.
std::vector<std::string> InstalledLocales() {
  std::vector<std::string> names = Lines("locale -a 2>/dev/null");
  if (const char* locpath = std::getenv("LOCPATH")) {
    const std::string dirs = locpath;
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

// The names iconv(3) converts, as the system's iconv program lists them (aliases included).
std::vector<std::string> IconvNames() {
  std::vector<std::string> names;
  for (const std::string& line : Lines("iconv -l 2>/dev/null")) {
    std::size_t start = 0;
    while (start < line.size()) {
      std::size_t end = line.find_first_of(", ", start);
      if (end == std::string::npos) end = line.size();
      std::string name = line.substr(start, end - start);
      while (!name.empty() && name.back() == '/') name.pop_back();
      if (!name.empty() && IconvKnows(name)) names.push_back(name);
      start = end + 1;
    }
  }
  return names;
}

const char* const kUnicodeNames[] = {"UTF-8",    "UTF-16",   "UTF-16BE",
                                     "UTF-16LE", "UTF-8-16", "ISO-8859-1"};

// Edit distance between canonical names, for suggestions.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t up = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = up;
    }
  }
  return row[b.size()];
}

}  // namespace

Encoding ResolveEncoding(const std::string& name) {
  const std::string c = Canonical(name);
  if (c == "UTF8" || c == "UTF816") return {Encoding::kUtf8, "", "UTF-8"};
  if (c == "UTF16") return {Encoding::kUtf16, "", "UTF-16"};
  if (c == "UTF16BE") return {Encoding::kUtf16Be, "", "UTF-16BE"};
  if (c == "UTF16LE") return {Encoding::kUtf16Le, "", "UTF-16LE"};
  if (IsLatin1(c)) return {Encoding::kLatin1, "", name};
  if (name.find('/') != std::string::npos) throw Failure{"unknown encoding " + name};
  if (IconvKnows(name)) return {Encoding::kIconv, name, name};
  // A locale of that very name: its charset, through the library.
  if (!CharsetOfLocale(name).empty()) return {Encoding::kLocale, name, name};
  // A charset only an installed locale knows.
  for (const std::string& locale : InstalledLocales()) {
    const std::string charset = CharsetOfLocale(locale);
    if (!charset.empty() && Canonical(charset) == c) return {Encoding::kLocale, locale, name};
  }
  // A usable name spelt another way ("WINDOWS1252", "shift-jis"), else the closest names.
  const std::vector<std::string> usable = ListEncodings();
  for (const std::string& known : usable) {
    const std::string candidate = known.substr(0, known.find(' '));
    if (Canonical(candidate) == c && IconvKnows(candidate)) {
      return {Encoding::kIconv, candidate, name};
    }
  }
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const std::string& known : usable) {
    const std::string candidate = known.substr(0, known.find(' '));
    const std::string k = Canonical(candidate);
    const std::size_t d = Distance(c, k);
    if (d <= std::max<std::size_t>(1, c.size() / 4) || (c.size() >= 3 && k.find(c) == 0)) {
      near.emplace_back(d, candidate);
    }
  }
  std::stable_sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end(),
                         [](const auto& a, const auto& b) { return a.second == b.second; }),
             near.end());
  std::string message = "unknown encoding " + name;
  for (std::size_t i = 0; i < near.size() && i < 5; ++i) {
    message += (i == 0 ? "; did you mean " : ", ") + near[i].second;
  }
  message += near.empty() ? " ('qorstl convert -l' lists the encodings)" : "?";
  throw Failure{message};
}

std::vector<std::string> ListEncodings() {
  std::vector<std::string> names(std::begin(kUnicodeNames), std::end(kUnicodeNames));
  for (const std::string& name : IconvNames()) {
    const std::string c = Canonical(name);
    if (c != "UTF8" && c != "UTF16" && c != "UTF16BE" && c != "UTF16LE" && !IsLatin1(c)) {
      names.push_back(name);
    }
  }
  for (const std::string& locale : InstalledLocales()) {
    const std::string charset = CharsetOfLocale(locale);
    if (!charset.empty()) names.push_back(charset + " (locale " + locale + ")");
  }
  return names;
}

std::size_t Encoder::Encode(const wchar_t* data, std::size_t size, std::string& out) {
  std::size_t pos = 0;
  while (pos < size) {
    pos += EncodeRun(data + pos, size - pos, out);
    if (pos == size) break;
    if (on_error_ == OnError::kFail) return pos;
    if (on_error_ == OnError::kSubstitute) {
      const wchar_t question = L'?';
      if (EncodeRun(&kReplacement, 1, out) == 0) EncodeRun(&question, 1, out);
    }
    ++pos;
  }
  return size;
}

std::unique_ptr<Decoder> MakeDecoder(const Encoding& encoding, OnError on_error) {
  if (encoding.kind == Encoding::kIconv) return MakeIconvDecoder(encoding.system_name, on_error);
  if (encoding.kind == Encoding::kLocale) return MakeLocaleDecoder(encoding.system_name, on_error);
  return MakeUnicodeDecoder(encoding.kind, on_error);
}

std::unique_ptr<Encoder> MakeEncoder(const Encoding& encoding, OnError on_error) {
  if (encoding.kind == Encoding::kIconv) return MakeIconvEncoder(encoding.system_name, on_error);
  if (encoding.kind == Encoding::kLocale) return MakeLocaleEncoder(encoding.system_name, on_error);
  return MakeUnicodeEncoder(encoding.kind, on_error);
}

}  // namespace tool
