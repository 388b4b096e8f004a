// The object model property behind each contact field id.
#ifndef VORN_AGENT_PIM_CONTACT_FIELD_TABLE_H_
#define VORN_AGENT_PIM_CONTACT_FIELD_TABLE_H_

#include "platform/pimstore.h"

namespace agent {

struct ContactStringField {
  HRESULT (IContact::*get)(BSTR*);
  HRESULT (IContact::*put)(LPCWSTR);
};

// The string property of field `id` (3 to 50); null getters for ids 1 and 2
// (dates) and for ids outside 1 to 50.
const ContactStringField* ContactStringFieldOf(DWORD id);

}  // namespace agent

#endif  // VORN_AGENT_PIM_CONTACT_FIELD_TABLE_H_
