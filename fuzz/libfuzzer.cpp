// Hands the one subject of a program what libFuzzer makes up.
#include <cstdint>

#include "fuzz/subject.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillfold::fuzz::Subject::all().front()->run({reinterpret_cast<const char*>(data), size});
  return 0;
}
