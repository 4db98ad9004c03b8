#include "fuzz/round_trip.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  if (input.find('<') != std::string_view::npos) round_trip(input);
}
