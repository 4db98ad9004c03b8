#include "status_report.h"

#include <new>

#include "operation_and_error_numbers.h"

namespace MobileDevice {

Owned<CFDictionaryRef> make_status_report(std::string_view status, int operation,
                                          std::int64_t progress, CFErrorRef error) {
  const Owned<CFStringRef> status_text = make_cfstring(status);
  const Owned<CFNumberRef> operation_number = make_number(operation);
  const Owned<CFNumberRef> progress_number = make_number(progress);
  const void* keys[] = {CFSTR("Status"), CFSTR("Operation"), CFSTR("Progress"), CFSTR("Error")};
  const void* values[] = {status_text.get(), operation_number.get(), progress_number.get(), error};
  CFDictionaryRef const report =
      CFDictionaryCreate(kCFAllocatorDefault, keys, values, error == nullptr ? 3 : 4,
                         &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  if (report == nullptr) throw std::bad_alloc();
  return Owned<CFDictionaryRef>(report);
}

Owned<CFDictionaryRef> make_failure_report(CFErrorRef error) {
  return make_status_report("Failed", kOperationEnd, 100, error);
}

}  // namespace MobileDevice
