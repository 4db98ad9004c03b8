/// Points in time as text: "2001-01-01T00:00:00Z".
#pragma once

#include <CoreFoundation/CFDate.h>

#include <optional>
#include <string>
#include <string_view>

namespace cf {

/// In UTC, the fraction of a second floored. A time that the calendar can't hold (years -32767 to
/// 32767) becomes the nearest one that it can; not-a-number the epoch.
std::string date_text(CFAbsoluteTime time);

/// Nothing when the text hasn't exactly the form of such a date. A month, day, hour, minute or
/// second past its end counts on into what follows, as the real library has it: the 13th month is
/// January.
std::optional<CFAbsoluteTime> parse_date(std::string_view text);

}  // namespace cf
