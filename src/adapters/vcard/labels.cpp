#include "adapters/vcard/labels.h"

#include <algorithm>
#include <array>

#include "adapters/vcard/ascii.h"
#include "platform/contacts.h"

namespace quillfold::vcard {

namespace {

struct TypeLabel {
  std::string_view type;
  std::string_view label;
};

// The first that an entry has decides: a phone in the pocket is "mobile", also at work.
constexpr TypeLabel kPhoneLabels[] = {
    {"pager", "_$!<Pager>!$_"}, {"iphone", "iPhone"},       {"applewatch", "_$!<AppleWatch>!$_"},
    {"main", "_$!<Main>!$_"},   {"cell", "_$!<Mobile>!$_"}, {"mobile", "_$!<Mobile>!$_"},
    {"home", CNLabelHome},      {"work", CNLabelWork},      {"school", "_$!<School>!$_"},
    {"other", CNLabelOther},
};

constexpr TypeLabel kPlaceLabels[] = {
    {"homepage", "_$!<HomePage>!$_"}, {"home", CNLabelHome},   {"work", CNLabelWork},
    {"school", "_$!<School>!$_"},     {"other", CNLabelOther},
};

constexpr TypeLabel kRelationLabels[] = {
    {"spouse", "_$!<Spouse>!$_"},
    {"partner", "_$!<Partner>!$_"},
    {"father", "_$!<Father>!$_"},
    {"mother", "_$!<Mother>!$_"},
    {"parent", "_$!<Parent>!$_"},
    {"brother", "_$!<Brother>!$_"},
    {"sister", "_$!<Sister>!$_"},
    {"sibling", "_$!<Sibling>!$_"},
    {"son", "_$!<Son>!$_"},
    {"daughter", "_$!<Daughter>!$_"},
    {"child", "_$!<Child>!$_"},
    {"friend", "_$!<Friend>!$_"},
    {"assistant", "_$!<Assistant>!$_"},
    {"manager", "_$!<Manager>!$_"},
    {"colleague", "_$!<Colleague>!$_"},
    {"co-worker", "_$!<Colleague>!$_"},
    {"other", CNLabelOther},
};

// Types that tell a feature or the kind of the entry and are no label.
constexpr std::string_view kSilentTypes[] = {
    "pref",      "voice",   "fax",     "msg",      "text",    "textphone", "video",     "bbs",
    "modem",     "isdn",    "pcs",     "car",      "cell",    "mobile",    "pager",     "intl",
    "dom",       "postal",  "parcel",  "internet", "x400",    "aol",       "cis",       "eworld",
    "applelink", "attmail", "ibmmail", "mcimail",  "prodigy", "tlx",       "powershare"};

bool isSilent(std::string_view type) {
  return std::any_of(std::begin(kSilentTypes), std::end(kSilentTypes),
                     [type](std::string_view each) { return equalIgnoringCase(each, type); });
}

std::optional<std::string> ownLabel(const Attribute& attribute) {
  for (const std::string_view type : attribute.types) {
    if (isSilent(type)) continue;
    const bool marked = startsWithIgnoringCase(type, "X-") && type.size() > 2;
    return std::string(marked ? type.substr(2) : type);
  }
  return std::nullopt;
}

template <std::size_t N>
std::optional<std::string> labelFrom(const TypeLabel (&labels)[N], const Attribute& attribute) {
  std::size_t first = N;
  for (const std::string_view type : attribute.types) {
    for (std::size_t i = 0; i < first; ++i) {
      if (equalIgnoringCase(labels[i].type, type)) first = i;
    }
  }
  if (first < N) return std::string(labels[first].label);
  return ownLabel(attribute);
}

}  // namespace

std::optional<std::string> phoneLabel(const Attribute& attribute) {
  if (!attribute.hasType("fax")) return labelFrom(kPhoneLabels, attribute);
  if (attribute.hasType("home")) return "_$!<HomeFAX>!$_";
  if (attribute.hasType("work")) return "_$!<WorkFAX>!$_";
  return "_$!<OtherFAX>!$_";
}

std::optional<std::string> placeLabel(const Attribute& attribute) {
  return labelFrom(kPlaceLabels, attribute);
}

std::optional<std::string> relationLabel(const Attribute& attribute) {
  return labelFrom(kRelationLabels, attribute);
}

bool isPlaceOrPreference(std::string_view type) {
  constexpr std::string_view kPlaces[] = {"home", "work", "school", "other"};
  return isSilent(type) ||
         std::any_of(std::begin(kPlaces), std::end(kPlaces),
                     [type](std::string_view each) { return equalIgnoringCase(each, type); });
}

}  // namespace quillfold::vcard
