// Searching as it is told, without an index.
#pragma once

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <string>
#include <vector>

#include "foundation/optional_string.h"

namespace quillfold::testing {

inline icu::UnicodeString normalized(const icu::UnicodeString& text, bool composed) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* form = composed ? icu::Normalizer2::getNFCInstance(status)
                              : icu::Normalizer2::getNFDInstance(status);
  return form->normalize(text, status);
}

inline icu::UnicodeString caseless(const icu::UnicodeString& text) {
  return normalized(normalized(text, false).foldCase(), false);
}

// Whether some run of whole characters, each with its combining marks, equals the
// query regardless of case.
inline bool plainlyContains(const OptionalString& text, const std::string& query) {
  if (!text) return true;
  const auto wanted = caseless(icu::UnicodeString::fromUTF8(query));
  const auto composed = normalized(icu::UnicodeString::fromUTF8(*text), true);
  std::vector<icu::UnicodeString> characters;
  for (int i = 0; i < composed.length(); i = composed.moveIndex32(i, 1)) {
    const UChar32 each = composed.char32At(i);
    if (characters.empty() || (U_GET_GC_MASK(each) & U_GC_M_MASK) == 0) characters.emplace_back();
    characters.back().append(each);
  }
  for (std::size_t begin = 0; begin < characters.size(); ++begin) {
    icu::UnicodeString run;
    for (std::size_t end = begin; end < characters.size() && run.length() <= wanted.length();
         ++end) {
      run += characters[end];
      if (caseless(run) == wanted) return true;
    }
  }
  return false;
}

}  // namespace quillfold::testing
