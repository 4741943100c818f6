// The members that all lists of the server have.
#pragma once

#include "foundation/record_description.h"
#include "social/social_records.h"

namespace quillfold {

template <typename Item>
template <auto itemFromDictionary>
RecordDescription<QFPaginatedList<Item>> QFPaginatedList<Item>::pageFields() {
  using R = QFPaginatedList;
  using namespace reading;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::items_, List<itemFromDictionary>, writing::Always>("data"),
      field<&R::total_, Integer, writing::Always>("total"),
      field<&R::skip_, Integer, writing::Always>("skip"),
      field<&R::limit_, Integer, writing::Always>("limit"),
  };
  return kFields;
}

}  // namespace quillfold
