// The records of social events.
#include "social/page_fields.h"

namespace quillfold {

RecordDescription<QFEventCreator> QFEventCreator::wireFields() {
  using R = QFEventCreator;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::name_, reading::Copy, writing::Omit>("name"),
      field<&R::avatarUrl_, reading::Copy, writing::Omit>("avatar_url"),
  };
  return kFields;
}

QFEventCreatorPtr QFEventCreator::initWithDictionary(const Dictionary& dictionary) {
  QFEventCreatorPtr creator(new QFEventCreator);
  readRecord(wireFields(), dictionary, *creator);
  return creator;
}

Dictionary QFEventCreator::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

RecordDescription<QFSocialEvent> QFSocialEvent::wireFields() {
  using R = QFSocialEvent;
  using namespace reading;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::eventId_, Copy, Omit>("id"),
      field<&R::organizationId_, Copy, Omit>("organization_id"),
      field<&R::canonicalContactId_, Copy, Omit>("canonical_contact_id"),
      field<&R::eventType_, Copy, Omit>("event_type"),
      field<&R::title_, Copy, Omit>("title"),
      field<&R::description_, Copy, Omit>("description"),
      field<&R::location_, Copy, Omit>("location"),
      field<&R::startTime_, Date, ISODate>("start_time"),
      field<&R::endTime_, Date, ISODate>("end_time"),
      field<&R::metadata_, Copy, Omit>("metadata"),
      field<&R::isPublic_, Boolean, Always>("is_public"),
      field<&R::userId_, Copy, Omit>("user_id"),
      field<&R::createdAt_, Date, ISODate>("created_at"),
      field<&R::updatedAt_, Date, ISODate>("updated_at"),
      field<&R::createdBy_, Nested<QFEventCreator>, Omit>("created_by"),
  };
  return kFields;
}

std::shared_ptr<QFSocialEvent> QFSocialEvent::initWithDictionary(const Dictionary& dictionary) {
  std::shared_ptr<QFSocialEvent> event(new QFSocialEvent);
  readRecord(wireFields(), dictionary, *event);
  return event;
}

Dictionary QFSocialEvent::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

RecordDescription<QFCreateEventRequest> QFCreateEventRequest::wireFields() {
  using R = QFCreateEventRequest;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::eventType_, reading::None, Omit>("event_type"),
      field<&R::title_, reading::None, Omit>("title"),
      field<&R::description_, reading::None, Omit>("description"),
      field<&R::location_, reading::None, Omit>("location"),
      field<&R::startTime_, reading::None, ISODate>("start_time"),
      field<&R::endTime_, reading::None, ISODate>("end_time"),
      field<&R::metadata_, reading::None, Omit>("metadata"),
      field<&R::isPublic_, reading::None, Always>("is_public"),
  };
  return kFields;
}

std::shared_ptr<QFCreateEventRequest> QFCreateEventRequest::initWithEventType(
    OptionalString eventType, OptionalString title, OptionalString description,
    OptionalString location, std::optional<NSDate> startTime, std::optional<NSDate> endTime,
    std::optional<Dictionary> metadata, bool isPublic) {
  std::shared_ptr<QFCreateEventRequest> request(new QFCreateEventRequest);
  request->eventType_ = std::move(eventType);
  request->title_ = std::move(title);
  request->description_ = std::move(description);
  request->location_ = std::move(location);
  request->startTime_ = startTime;
  request->endTime_ = endTime;
  request->metadata_ = std::move(metadata);
  request->isPublic_ = isPublic;
  return request;
}

Dictionary QFCreateEventRequest::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

RecordDescription<QFUpdateEventRequest> QFUpdateEventRequest::wireFields() {
  using R = QFUpdateEventRequest;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::title_, reading::None, Omit>("title"),
      field<&R::description_, reading::None, Omit>("description"),
      field<&R::location_, reading::None, Omit>("location"),
      field<&R::startTime_, reading::None, ISODate>("start_time"),
      field<&R::endTime_, reading::None, ISODate>("end_time"),
      field<&R::metadata_, reading::None, Omit>("metadata"),
      field<&R::isPublic_, reading::None, Omit>("is_public"),
  };
  return kFields;
}

std::shared_ptr<QFUpdateEventRequest> QFUpdateEventRequest::init() {
  return std::shared_ptr<QFUpdateEventRequest>(new QFUpdateEventRequest);
}

Dictionary QFUpdateEventRequest::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

RecordDescription<QFEventActionResponse> QFEventActionResponse::wireFields() {
  using R = QFEventActionResponse;
  using namespace reading;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::message_, Copy, Omit>("message"),
      field<&R::eventId_, Copy, Omit>("event_id"),
      field<&R::created_, Boolean, Always>("created"),
      field<&R::updated_, Boolean, Always>("updated"),
      field<&R::deleted_, Boolean, Always>("deleted"),
      field<&R::success_, Boolean, Always>("success"),
  };
  return kFields;
}

std::shared_ptr<QFEventActionResponse> QFEventActionResponse::initWithDictionary(
    const Dictionary& dictionary) {
  std::shared_ptr<QFEventActionResponse> response(new QFEventActionResponse);
  readRecord(wireFields(), dictionary, *response);
  return response;
}

Dictionary QFEventActionResponse::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

std::shared_ptr<QFPaginatedEventList> QFPaginatedEventList::initWithDictionary(
    const Dictionary& dictionary) {
  std::shared_ptr<QFPaginatedEventList> list(new QFPaginatedEventList);
  readRecord(pageFields<&QFSocialEvent::initWithDictionary>(), dictionary, *list);
  return list;
}

Dictionary QFPaginatedEventList::toDictionary() const {
  return writeRecord(pageFields<&QFSocialEvent::initWithDictionary>(), *this);
}

}  // namespace quillfold
