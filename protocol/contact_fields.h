// Field ids of a contact record on the wire. Ids 1 and 2 are time records,
// every other id a counted string. 26 (FileAs) is accepted on writes and
// never sent on reads. 50 (Body) holds the notes.
#ifndef VORN_PROTOCOL_CONTACT_FIELDS_H_
#define VORN_PROTOCOL_CONTACT_FIELDS_H_

#include <array>
#include <cstdint>
#include <string_view>

namespace protocol {

inline constexpr std::uint32_t kContactFieldCount = 50;
inline constexpr std::uint32_t kContactAnniversary = 1;
inline constexpr std::uint32_t kContactBirthday = 2;
inline constexpr std::uint32_t kContactCompanyName = 4;
inline constexpr std::uint32_t kContactFileAs = 26;
inline constexpr std::uint32_t kContactFirstName = 31;
inline constexpr std::uint32_t kContactLastName = 33;
inline constexpr std::uint32_t kContactBody = 50;

// Object model property name of each field id; index = id - 1.
inline constexpr std::array<std::string_view, kContactFieldCount>
    kContactFieldNames = {
        "Anniversary",
        "Birthday",
        "BusinessFaxNumber",
        "CompanyName",
        "Department",
        "Email1Address",
        "MobileTelephoneNumber",
        "OfficeLocation",
        "PagerNumber",
        "BusinessTelephoneNumber",
        "JobTitle",
        "HomeTelephoneNumber",
        "Email2Address",
        "Spouse",
        "Email3Address",
        "Home2TelephoneNumber",
        "HomeFaxNumber",
        "CarTelephoneNumber",
        "AssistantName",
        "AssistantTelephoneNumber",
        "Children",
        "Categories",
        "WebPage",
        "Business2TelephoneNumber",
        "RadioTelephoneNumber",
        "FileAs",
        "YomiCompanyName",
        "YomiFirstName",
        "YomiLastName",
        "Title",
        "FirstName",
        "MiddleName",
        "LastName",
        "Suffix",
        "HomeAddressStreet",
        "HomeAddressCity",
        "HomeAddressState",
        "HomeAddressPostalCode",
        "HomeAddressCountry",
        "OtherAddressStreet",
        "OtherAddressCity",
        "OtherAddressState",
        "OtherAddressPostalCode",
        "OtherAddressCountry",
        "BusinessAddressStreet",
        "BusinessAddressCity",
        "BusinessAddressState",
        "BusinessAddressPostalCode",
        "BusinessAddressCountry",
        "Body",
};

// Notes of this many characters or more bypass the object model and are
// written to the contact's record as an ANSI blob of this property.
inline constexpr std::size_t kLongNotesThreshold = 4096;
inline constexpr std::uint32_t kLongNotesProperty = 0x00170041;

}  // namespace protocol

#endif  // VORN_PROTOCOL_CONTACT_FIELDS_H_
