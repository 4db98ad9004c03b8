/// Dates as text: "2001-01-01T00:00:00Z".
#pragma once

#include <CoreFoundation/CFDate.h>

#include <optional>
#include <string>
#include <string_view>

namespace cf {

/// In UTC, with the fraction of a second rounded down. A time outside the years -32767 to 32767
/// becomes the nearest time inside; not-a-number becomes the epoch.
std::string date_text(CFAbsoluteTime time);

/// Nothing if the text doesn't have exactly this form. A month, day, hour, minute or second that is
/// too large is carried over into the next unit, as in the real library: month 13 is January.
std::optional<CFAbsoluteTime> parse_date(std::string_view text);

}  // namespace cf
