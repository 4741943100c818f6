// What the bookkeeping's file adds to a first sync over loopback: each sync is a process of
// its own, in turn with the file on the disk and with one that is written nowhere.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <vector>

#include "adapters/asio/main_queue.h"
#include "adapters/linux/device/linux_platform.h"
#include "apps/backend/backend_server.h"
#include "core/user_info.h"
#include "facade/contact_service.h"
#include "foundation/format.h"
#include "tests/support/child_program.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

class SilentLog : public LogSink {
 public:
  void plain(std::string_view) override {}
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

// Files that exist for no longer than their writing.
class NoFiles : public FileManager {
 public:
  std::string applicationSupportDirectory() override { return "/"; }
  bool fileExistsAtPath(const std::string&) override { return false; }
  ErrorPtr createDirectoryAtPath(const std::string&) override { return nullptr; }
  std::optional<Data> contentsAtPath(const std::string&) override { return std::nullopt; }
  ErrorPtr replaceFileAtPath(const std::string&, const std::string_view*, std::size_t) override {
    return nullptr;
  }
  ErrorPtr removeItemAtPath(const std::string&) override { return nullptr; }
};

// One first sync; prints its seconds, from the call to the completion.
int sync(const std::string& folder, const std::string& port, bool onDisk) {
  auto queue = std::make_shared<LinuxMainQueue>();
  LinuxConfiguration configuration;
  configuration.configurationFolder = configuration.dataFolder = folder + "/home";
  configuration.addressBook = folder + "/book.vcf";
  configuration.connectTo = {{"localhost:8080", "127.0.0.1:" + port}};
  configuration.accessQuestion = [](const auto& answer) { answer(true); };
  Platform platform = makeLinuxPlatform(std::move(configuration));
  platform.mainQueue = queue;
  platform.log = std::make_shared<SilentLog>();
  if (!onDisk) platform.files = std::make_shared<NoFiles>();
  Platform::install(platform);

  const auto service = QFContactService::sharedInstance();
  const auto user = QFUserInfo::initWithUserId(onDisk ? "disk" : "memory", {}, "a@b.example", {});
  const auto await = [&queue](const auto& start) {
    std::optional<bool> outcome;
    start([&outcome, queue](bool success, const ErrorPtr&) {
      queue->async([&outcome, success] { outcome = success; });
    });
    queue->runUntil([&outcome] { return outcome.has_value(); }, 600);
    if (!outcome.value_or(false)) std::abort();
  };
  await([&](auto done) { service->initializeWithAPIKey("key", "token", user, nullptr, done); });
  service->enableBackgroundSync();
  await([&](auto done) {
    service->requestContactsAccessWithCompletion([done](bool granted) { done(granted, nullptr); });
  });
  const auto start = std::chrono::steady_clock::now();
  await([&](auto done) { service->syncContacts(done); });
  std::cout << std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()
            << '\n';
  return 0;
}

std::string card(int number) {
  return fmt::format(
      "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:{0:08X}-0000-4000-8000-00000000{0:04X}:ABPerson\r\n"
      "N:Family{0};Given{0};;;\r\nFN:Given{0} Family{0}\r\nTEL;TYPE=CELL:+1212{0:07}\r\n"
      "TEL;TYPE=HOME:+1646{0:07}\r\nEMAIL:given{0}.family{0}@example.com\r\n"
      "ADR:;;{0} Main Street;Springfield;;12345;USA\r\nEND:VCARD\r\n",
      number);
}

// Against a backend that knows nobody yet.
double secondsOf(const std::string& folder, const char* where) {
  std::filesystem::remove_all(folder + "/home");
  backend::BackendServer server;
  server.start();
  ChildProgram child("/proc/self/exe", {"--sync", folder, std::to_string(server.port()), where});
  const std::string seconds = child.line();
  if (child.exitStatus() != 0) std::abort();
  return std::stod(seconds);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void BM_FirstSync(benchmark::State& state) {
  TemporaryFolder folder;
  std::string book;
  for (int i = 0; i < state.range(0); ++i)
    book += card(i);
  folder.write("book.vcf", book);
  std::vector<double> disk, memory;
  for (auto _ : state) {
    memory.push_back(secondsOf(folder.path(""), "memory"));
    disk.push_back(secondsOf(folder.path(""), "disk"));
    state.SetIterationTime(disk.back());
  }
  state.counters["ratio"] = median(disk) / median(memory);
  state.counters["disk_s"] = median(disk);
  state.counters["memory_s"] = median(memory);
}
BENCHMARK(BM_FirstSync)->Arg(10000)->UseManualTime()->Iterations(5)->Unit(benchmark::kSecond);

}  // namespace
}  // namespace quillfold

int main(int count, char** words) {
  if (count == 5 && std::string_view(words[1]) == "--sync") {
    return quillfold::sync(words[2], words[3], std::string_view(words[4]) == "disk");
  }
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
