// Social events and feeds.
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/lists.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

namespace {

std::string when(const std::optional<NSDate>& date) {
  return date ? timeText(date->timeIntervalSince1970()) : std::string();
}

std::string eventLine(const QFSocialEvent& event) {
  return wholeColumn(text(event.eventId()), 36) + "  " + column(when(event.startTime()), 19) +
         "  " + column(text(event.title()), 30) + "  " + text(event.location());
}

int showPage(Session& session, const Operation<std::shared_ptr<QFPaginatedEventList>>& operation) {
  const auto page = session.wait(operation);
  return showList(
      session, page->items(), page->total(),
      [](const QFSocialEvent& event) { return event.toDictionary(); }, eventLine);
}

template <typename Ask>
int showFeed(Session& session, Ask ask) {
  return showPage(session, (session.account().*ask)(session.page(20)));
}

}  // namespace

// The command line has looked at the times.
int createEvent(Session& session) {
  const EventDetails& event = session.options().event;
  if (!event.title) throw WrongUsage("event create takes --title");
  const auto request = QFCreateEventRequest::initWithEventType(
      event.type.value_or("meeting"), event.title, event.about, event.place,
      NSDate::dateFromISOString(event.starts), NSDate::dateFromISOString(event.ends), std::nullopt,
      !event.isPrivate);
  return showAction(session, *session.wait(session.account().createEvent(request)));
}

int changeEvent(Session& session) {
  const EventDetails& event = session.options().event;
  const auto request = QFUpdateEventRequest::init();
  request->setTitle(event.title);
  request->setDescription(event.about);
  request->setLocation(event.place);
  request->setStartTime(NSDate::dateFromISOString(event.starts));
  request->setEndTime(NSDate::dateFromISOString(event.ends));
  if (event.isPrivate) request->setIsPublic(false);
  if (event.type) throw WrongUsage("--type: the type of an event can't be changed");
  if (request->toDictionary().empty()) throw WrongUsage("event change takes what is to change");
  const std::string& id = *session.options().operand;
  return showAction(session, *session.wait(session.account().updateEvent(id, request)));
}

int deleteEvent(Session& session) {
  const std::string& id = *session.options().operand;
  return showAction(session, *session.wait(session.account().deleteEvent(id)));
}

int showEvent(Session& session) {
  const auto event = session.wait(session.account().event(*session.options().operand));
  session.close();
  session.interrupts().endAtOnce();
  if (session.options().json) {
    printJSON(event->toDictionary());
    return 0;
  }
  std::cout << colored(text(event->title()), Color::Bold) << "\n  " << when(event->startTime())
            << "  " << text(event->location()) << '\n';
  if (!text(event->description()).empty()) std::cout << "  " << text(event->description()) << '\n';
  if (event->createdBy() || event->userId().string()) {
    std::cout << "  by " << (event->createdBy() ? text(event->createdBy()->name()) + "  " : "")
              << text(event->userId()) << '\n';
  }
  return 0;
}

int eventsCommand(Session& session) {
  return showPage(session, session.account().events(session.page(20), session.options().operand));
}

int feedCommand(Session& session) {
  return showFeed(session, &Account::feed);
}

int upcomingCommand(Session& session) {
  return showFeed(session, &Account::upcomingEvents);
}

int forYouCommand(Session& session) {
  return showFeed(session, &Account::forYou);
}

}  // namespace host
