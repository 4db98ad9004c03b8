#include "texts.h"

#include "../operation_and_error_numbers.h"

namespace MobileDevice {

std::string_view operation_text(int operation) {
  switch (operation) {
    case kOperationEnd:
      return "Restore ended";
    case kOperationCheckBundle:
      return "Checking the restore bundle";
    case kOperationPersonalizeBundle:
      return "Personalizing the restore bundle";
    case kOperationEnterRestoreMode:
      return "Entering restore mode";
    case kOperationCreateFileSystems:
      return "Creating the file systems";
    case kOperationSendSystem:
      return "Sending the system image";
    case kOperationVerifySystem:
      return "Verifying the system image";
    case kOperationUpdateFirmware:
      return "Updating the firmware";
    case kOperationRestart:
      return "Restarting the device";
    default:
      return "Unrecognized operation";
  }
}

std::string_view error_text(int error) {
  switch (error) {
    case kAMRSuccess:
      return "Success";
    case kAMRInvalidArgument:
      return "Invalid argument";
    case kAMRInternalError:
      return "Internal error of the MobileDevice library";
    case kAMRLogFileNotOpened:
      return "The log file can't be opened";
    case kAMRDeviceLeft:
      return "The device is no longer attached";
    case kAMRCommandRefused:
      return "The device refused the command";
    default:
      return "Unrecognized error";
  }
}

}  // namespace MobileDevice
