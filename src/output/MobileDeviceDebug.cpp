#include "output/MobileDeviceDebug.h"

#include <MobileDevice/MobileDevice.h>

#include <algorithm>
#include <initializer_list>

#include "output/cf_strings.h"
#include "support/abort.h"
#include "text/format.h"

namespace korvrestore {
namespace {

bool begins_with(CFStringRef text, CFStringRef phrase) {
  return CFStringFind(text, phrase, 0).location == 0;
}

/// `copy_text` returns MobileDevice's text of one code. A text that begins with a phrase of
/// `unknown` means that the code has no text.
void print_texts(output_str_state& output, const char* function, CFStringRef (*copy_text)(int),
                 int bound, std::initializer_list<CFStringRef> unknown) {
  output.print_debug(text::format("==== {} ====", function));
  for (int code = 0; code < bound; ++code) {
    const cf_string text(copy_text(code));
    if (!text) continue;
    if (std::any_of(unknown.begin(), unknown.end(),
                    [&](CFStringRef phrase) { return begins_with(text.get(), phrase); }))
      continue;
    output.print_debug(
        text::format(R"(case {}: return copyString(CFSTR("{}"));)", code, MakeString(text.get())));
  }
  output.print_debug("");
}

}  // namespace

void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output) {
  if (!output) {
    assertion_failed(
        {"MobileDeviceDebug", 16, "print_imp_AMRLocalizedCopyStringForAMROperation", "output"});
  }
  print_texts(*output, "AMRLocalizedCopyStringForAMROperation",
              AMRLocalizedCopyStringForAMROperation, 1000, {CFSTR("Unrecognized operation")});
}

void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output) {
  if (!output) {
    assertion_failed(
        {"MobileDeviceDebug", 32, "print_imp_AMRLocalizedCopyStringForAMRError", "output"});
  }
  print_texts(*output, "AMRLocalizedCopyStringForAMRError", AMRLocalizedCopyStringForAMRError,
              10000, {CFSTR("Unrecognized error"), CFSTR("Unrecognized server error")});
}

}  // namespace korvrestore
