#include "CoreFoundation/property_list/property_list.h"
#include "fuzz/round_trip.h"
#include "fuzz/target.h"

namespace {

/// The value as XML. Errors aren't compared: expat's reason may depend on where a piece ends.
std::string outcome(std::string_view xml, std::size_t piece) {
  try {
    return fuzz::written(cf::read_xml_with_expat(xml, nullptr, piece).get());
  } catch (const cf::PropertyListError&) {
    return "refused";
  }
}

}  // namespace

void fuzz::run(std::string_view input) {
  const std::size_t start = input.find('<');
  if (start == std::string_view::npos) return;
  const std::string_view xml = input.substr(start);
  const std::string expected = outcome(xml, /*piece=*/input.size());
  require(outcome(xml, /*piece=*/1 + input.size() % 64) == expected,
          "the size of pieces doesn't matter");
  const cf::Owned<CFTypeRef> direct = cf::read_xml_directly(xml);
  require(direct == nullptr || written(direct.get()) == expected, "both readers read the same");
  round_trip(input);
}
