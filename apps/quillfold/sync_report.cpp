#include "apps/quillfold/sync_report.h"

#include <iomanip>
#include <sstream>

#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

std::string counted(std::int64_t count, const char* one, const char* several) {
  return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

}  // namespace

void add(SyncReport& sum, const SyncReport& run) {
  if (run.read > 0) sum.read = run.read;
  sum.uploaded += run.uploaded;
  sum.batches += run.batches;
  sum.skipped = run.skipped;
  sum.bytes += run.bytes;
  sum.seconds += run.seconds;
  sum.bookkeepingRead &= run.bookkeepingRead;
  sum.bookkeepingWritten = run.bookkeepingWritten;
  sum.stopped = run.stopped;
}

bool isWhole(const SyncReport& report) {
  return report.bookkeepingWritten && !report.stopped;
}

void sayProblems(const SyncReport& report) {
  if (report.skipped > 0) {
    say(counted(report.skipped, "card", "cards") + " of the address book can't be read");
  }
  if (!report.bookkeepingRead) {
    say("The bookkeeping could not be read: what was on record has gone up again");
  }
  if (!report.bookkeepingWritten) {
    say("The bookkeeping can't be written: what went up goes up again at the next sync");
  }
  if (report.stopped) say("Stopped; the next sync sends the rest");
}

std::string reportText(const SyncReport& report) {
  std::string text = counted(report.read, "contact", "contacts") + " read, " +
                     std::to_string(report.uploaded) + " uploaded in " +
                     counted(report.batches, "batch", "batches");
  if (report.skipped > 0) text += ", " + std::to_string(report.skipped) + " skipped";
  std::ostringstream seconds;
  seconds << std::fixed << std::setprecision(report.seconds < 100 ? 2 : 0) << report.seconds;
  return text + ", " + seconds.str() + " s";
}

Dictionary reportObject(const SyncReport& report) {
  return {{"success", isWhole(report)},  {"contacts", report.read},
          {"uploaded", report.uploaded}, {"batches", report.batches},
          {"skipped", report.skipped},   {"bytes", report.bytes},
          {"stopped", report.stopped},   {"bookkeeping_read", report.bookkeepingRead},
          {"seconds", report.seconds},   {"bookkeeping_written", report.bookkeepingWritten}};
}

}  // namespace host
