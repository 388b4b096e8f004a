#include "device/pim/pim_object.h"

#include "device/pim/outlook_app.h"

namespace device {

ULONG PimObject::ReleaseReference() {
  if (references_ == 0) {
    app_.NoteOverRelease();
    return 0;
  }
  if (--references_ == 0) OnReleased();
  return references_;
}

}  // namespace device
