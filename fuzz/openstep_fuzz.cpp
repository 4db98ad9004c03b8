#include "fuzz/round_trip.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  if (!input.starts_with('<') && !input.starts_with("bplist0")) round_trip(input);
}
