// Searching as it is told, without an index.
#pragma once

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/optional_string.h"
#include "sync/contact_sync_info.h"

namespace quillfold::testing {

// Name and identifier of each.
using Rows = std::vector<std::pair<OptionalString, OptionalString>>;

inline Rows rowsOf(const std::vector<QFContactSyncInfoPtr>& records) {
  Rows rows;
  for (const auto& record : records)
    rows.emplace_back(record->displayNameForSort(), record->contactId());
  return rows;
}

inline icu::UnicodeString normalized(const icu::UnicodeString& text, bool composed) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* form = composed ? icu::Normalizer2::getNFCInstance(status)
                              : icu::Normalizer2::getNFDInstance(status);
  return form->normalize(text, status);
}

inline icu::UnicodeString caseless(const icu::UnicodeString& text) {
  return normalized(normalized(text, false).foldCase(), false);
}

// The characters of a decomposed text, each with its combining marks, and Hangul by syllables.
inline std::vector<icu::UnicodeString> charactersOf(const icu::UnicodeString& text) {
  std::vector<icu::UnicodeString> characters;
  std::int32_t last = U_HST_NOT_APPLICABLE;
  for (int i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    const UChar32 each = text.char32At(i);
    const auto type = u_getIntPropertyValue(each, UCHAR_HANGUL_SYLLABLE_TYPE);
    const bool joins = (U_GET_GC_MASK(each) & U_GC_M_MASK) != 0 ||
                       (type == U_HST_VOWEL_JAMO && last == U_HST_LEADING_JAMO) ||
                       (type == U_HST_TRAILING_JAMO && last == U_HST_VOWEL_JAMO);
    if (characters.empty() || !joins) characters.emplace_back();
    characters.back().append(each);
    last = type;
  }
  return characters;
}

// Whether some run of whole characters equals the query regardless of case.
inline bool plainlyContains(const OptionalString& text, const std::string& query) {
  if (!text) return true;
  const auto wanted = caseless(icu::UnicodeString::fromUTF8(query));
  const auto characters = charactersOf(normalized(icu::UnicodeString::fromUTF8(*text), false));
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
