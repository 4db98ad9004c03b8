/// Writes files that make a careless reader slow: `write_shapes DIRECTORY FACTOR`. Each shape has a
/// file with its name, FACTOR times as long as the shortest file that can be timed.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "testing/hostile_shapes_test_support.h"

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: write_shapes DIRECTORY FACTOR");
    for (const cf::test::HostileShape& shape : cf::test::hostile_shapes()) {
      std::ofstream file(std::filesystem::path(argv[1]) / shape.name, std::ios::binary);
      if (!(file << shape.make(std::stoul(argv[2]) * shape.size) << std::flush))
        throw std::runtime_error(std::string("can't write ") + shape.name);
    }
  } catch (const std::exception& error) {
    std::cerr << "write_shapes: " << error.what() << "\n";
    return 1;
  }
}
