// The mail command's work on a handheld whose system version selects the
// older message store (no MAPI): the same requests, kept by StoreMail.
#ifndef VORN_CLI_VORN_DEVICE_STORE_MAIL_COMMAND_H_
#define VORN_CLI_VORN_DEVICE_STORE_MAIL_COMMAND_H_

#include <string>

#include "device/device.h"
#include "device/image/status.h"
#include "device/mapi/mail_editor.h"

namespace cli {

// Whether the image's system version gives conversations the MAPI mail
// handler (3.0 build 11171 or later, or 4 and above), as the agent's
// version test decides.
bool ImageUsesMapi(device::Device& handheld);

// Adds `mail` to the message store; `output` gets its object id and a line
// end.
device::Status AddStoreMail(device::Device& handheld,
                            const device::NewMail& mail, std::string* output);
// One line per message, in the columns of the MAPI listing.
device::Status ListStoreMail(device::Device& handheld, std::string* output);
device::Status RemoveStoreMail(device::Device& handheld, std::uint32_t oid);

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_STORE_MAIL_COMMAND_H_
