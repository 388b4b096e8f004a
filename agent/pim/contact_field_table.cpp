#include "agent/pim/contact_field_table.h"

#include <array>

namespace agent {
namespace {

#define VORN_FIELD(name) \
  { &IContact::get_##name, &IContact::put_##name }

// Index = field id - 3.
constexpr std::array<ContactStringField, 48> kStringFields = {{
    VORN_FIELD(BusinessFaxNumber),          // 3
    VORN_FIELD(CompanyName),                // 4
    VORN_FIELD(Department),                 // 5
    VORN_FIELD(Email1Address),              // 6
    VORN_FIELD(MobileTelephoneNumber),      // 7
    VORN_FIELD(OfficeLocation),             // 8
    VORN_FIELD(PagerNumber),                // 9
    VORN_FIELD(BusinessTelephoneNumber),    // 10
    VORN_FIELD(JobTitle),                   // 11
    VORN_FIELD(HomeTelephoneNumber),        // 12
    VORN_FIELD(Email2Address),              // 13
    VORN_FIELD(Spouse),                     // 14
    VORN_FIELD(Email3Address),              // 15
    VORN_FIELD(Home2TelephoneNumber),       // 16
    VORN_FIELD(HomeFaxNumber),              // 17
    VORN_FIELD(CarTelephoneNumber),         // 18
    VORN_FIELD(AssistantName),              // 19
    VORN_FIELD(AssistantTelephoneNumber),   // 20
    VORN_FIELD(Children),                   // 21
    VORN_FIELD(Categories),                 // 22
    VORN_FIELD(WebPage),                    // 23
    VORN_FIELD(Business2TelephoneNumber),   // 24
    VORN_FIELD(RadioTelephoneNumber),       // 25
    VORN_FIELD(FileAs),                     // 26
    VORN_FIELD(YomiCompanyName),            // 27
    VORN_FIELD(YomiFirstName),              // 28
    VORN_FIELD(YomiLastName),               // 29
    VORN_FIELD(Title),                      // 30
    VORN_FIELD(FirstName),                  // 31
    VORN_FIELD(MiddleName),                 // 32
    VORN_FIELD(LastName),                   // 33
    VORN_FIELD(Suffix),                     // 34
    VORN_FIELD(HomeAddressStreet),          // 35
    VORN_FIELD(HomeAddressCity),            // 36
    VORN_FIELD(HomeAddressState),           // 37
    VORN_FIELD(HomeAddressPostalCode),      // 38
    VORN_FIELD(HomeAddressCountry),         // 39
    VORN_FIELD(OtherAddressStreet),         // 40
    VORN_FIELD(OtherAddressCity),           // 41
    VORN_FIELD(OtherAddressState),          // 42
    VORN_FIELD(OtherAddressPostalCode),     // 43
    VORN_FIELD(OtherAddressCountry),        // 44
    VORN_FIELD(BusinessAddressStreet),      // 45
    VORN_FIELD(BusinessAddressCity),        // 46
    VORN_FIELD(BusinessAddressState),       // 47
    VORN_FIELD(BusinessAddressPostalCode),  // 48
    VORN_FIELD(BusinessAddressCountry),     // 49
    VORN_FIELD(Body),                       // 50
}};

#undef VORN_FIELD

}  // namespace

const ContactStringField* ContactStringFieldOf(DWORD id) {
  if (id < 3 || id > 50) return nullptr;
  return &kStringFields[id - 3];
}

}  // namespace agent
