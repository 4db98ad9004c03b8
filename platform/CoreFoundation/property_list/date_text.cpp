#include "date_text.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace cf {
namespace {

using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year;

constexpr sys_seconds kEpoch = sys_days(year(2001) / 1 / 1);
constexpr sys_seconds kFirst = sys_days(year::min() / 1 / 1);
constexpr sys_seconds kLast = sys_days(year::max() / 12 / 31) + std::chrono::seconds(86'399);

double seconds_since_epoch(sys_seconds time) {
  return static_cast<double>((time - kEpoch).count());
}

/// Removes `digits` decimal digits and the character after them from the front of `text`.
std::optional<int> take_number(std::string_view& text, std::size_t digits, char terminator) {
  if (text.size() <= digits || text[digits] != terminator || text.front() == '-')
    return std::nullopt;
  int number = 0;
  const std::from_chars_result result = std::from_chars(text.data(), text.data() + digits, number);
  if (result.ec != std::errc() || result.ptr != text.data() + digits) return std::nullopt;
  text.remove_prefix(digits + 1);
  return number;
}

}  // namespace

std::string date_text(CFAbsoluteTime time) {
  const double seconds =
      std::isnan(time)
          ? 0
          : std::clamp(std::floor(time), seconds_since_epoch(kFirst), seconds_since_epoch(kLast));
  const sys_seconds point = kEpoch + std::chrono::seconds(static_cast<std::int64_t>(seconds));
  const sys_days day = std::chrono::floor<std::chrono::days>(point);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss<std::chrono::seconds> clock(point - day);
  char text[40];
  const int length = std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()));
  return std::string(text, static_cast<std::size_t>(length));
}

std::optional<CFAbsoluteTime> parse_date(std::string_view text) {
  const bool before_christ = text.starts_with('-');
  text.remove_prefix(before_christ ? 1 : 0);
  const std::size_t year_digits = std::min(text.find('-'), text.size());
  if (year_digits < 3 || year_digits > 5) return std::nullopt;
  const std::optional<int> y = take_number(text, year_digits, '-');
  const std::optional<int> mo = y ? take_number(text, 2, '-') : y;
  const std::optional<int> d = mo ? take_number(text, 2, 'T') : mo;
  const std::optional<int> h = d ? take_number(text, 2, ':') : d;
  const std::optional<int> mi = h ? take_number(text, 2, ':') : h;
  const std::optional<int> s = mi ? take_number(text, 2, 'Z') : mi;
  if (!s || !text.empty()) return std::nullopt;
  if (*y + (*mo - 1) / 12 > static_cast<int>(year::max())) return std::nullopt;
  const std::chrono::year_month month =
      year(before_christ ? -*y : *y) / std::chrono::January + std::chrono::months(*mo - 1);
  return seconds_since_epoch(sys_days(month / 1) + std::chrono::days(*d - 1) +
                             std::chrono::hours(*h) + std::chrono::minutes(*mi) +
                             std::chrono::seconds(*s));
}

}  // namespace cf
