// Fuzzes string_utf8_find_invalid against the UTF-8 model, under both rule sets: the position is
// the model's, every text before it is well-formed, and a text cut at it stays well-formed.
// Input: the text.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_util.h"
#include "models/utf8_model.h"
#include "qor/qorstl.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using qor_fuzz::Check;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (bool standard : {true, false}) {
    const std::size_t at = qor::string_utf8_find_invalid(text, standard);
    Check(at == qor_test::ModelFindInvalid(text, standard), "position differs from the model");
    if (at == std::string::npos) continue;
    Check(at < text.size(), "position past the end");
    Check(qor::string_utf8_find_invalid(text.substr(0, at), standard) == std::string::npos,
          "the text before the position is not well-formed");
    // The standard rules accept a subset of the codec's strict ones.
    if (!standard) {
      Check(qor::string_utf8_find_invalid(text, true) <= at, "standard rules accept more");
    }
  }
  return 0;
}
