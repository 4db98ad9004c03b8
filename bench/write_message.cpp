/// Writes the message in restore_status.plist repeatedly, with our CoreFoundation and with
/// libplist. Takes the file's path, then Google Benchmark's options.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "plist_file.h"

namespace {

void write_ours(benchmark::State& state, CFTypeRef message) {
  for ([[maybe_unused]] const auto iteration : state) {
    CFDataRef const data = CFPropertyListCreateData(kCFAllocatorDefault, message,
                                                    kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    if (data == nullptr) return state.SkipWithError("no text was written");
    benchmark::DoNotOptimize(CFDataGetBytePtr(data));
    CFRelease(data);
  }
}

void write_libplist(benchmark::State& state, plist_t message) {
  for ([[maybe_unused]] const auto iteration : state) {
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(message, &text, &length);
    if (length == 0) return state.SkipWithError("no text was written");
    benchmark::DoNotOptimize(text);
    plist_to_xml_free(text);
  }
}

void run(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) throw std::runtime_error("usage: write_message FILE [--benchmark_...]");
  const std::string bytes = read_file(argv[1]);

  const cf::Owned<CFPropertyListRef> ours = parse_plist(bytes);
  plist_t libplist = nullptr;
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &libplist);
  if (libplist == nullptr) throw std::runtime_error("libplist finds no property list");

  benchmark::RegisterBenchmark("ours", write_ours, ours.get());
  benchmark::RegisterBenchmark("libplist", write_libplist, libplist);
  benchmark::RunSpecifiedBenchmarks();
  plist_free(libplist);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "write_message: " << error.what() << "\n";
    return 1;
  }
}
