#!/usr/bin/env python3
"""Writes contacts.json: about 200 fictitious contacts for trying out vorn.

Deterministic: the same seed gives the same file byte for byte. Every name,
company, address and number is made up; e-mail addresses use the reserved
example domains and telephone numbers the 555-01xx range.

usage: python3 data/make_contacts.py [OUTPUT]   (default: data/contacts.json)
"""

import json
import os
import random
import sys

SEED = 20240611
COUNT = 200

LATIN_FIRST = ["Olivia", "Liam", "Emma", "Noah", "Ava", "Mateo", "Sofia",
               "Lucas", "Chloe", "Ethan", "Maya", "Oscar", "Hannah", "Felix",
               "Ines", "Tobias", "Greta", "Jonas", "Clara", "Rafael", "Nora",
               "Hugo", "Elena", "Milan", "Alice", "Pedro", "Lena", "Samuel",
               "Ruth", "Victor", "Iris", "Jakob", "Marta", "Aaron", "Zoe"]
LATIN_LAST = ["Whitfield", "Brannigan", "Osterhout", "Calloway", "Delacroix",
              "Fenwick", "Grünwald", "Halvorsen", "Ibarra", "Jablonski",
              "Kettering", "Lindqvist", "Marchetti", "Novak", "Okafor",
              "Pennington", "Quintero", "Rosales", "Sandoval", "Thorne",
              "Uriarte", "Vasquez", "Wexler", "Yamada", "Zeller", "Ó Briain",
              "van der Berg", "D'Angelo", "Müller-Lüdenscheidt", "Nuñez"]
GREEK = [("Νίκος", "Παπαδόπουλος"), ("Ελένη", "Γεωργίου"),
         ("Δημήτρης", "Καραγιάννης"), ("Σοφία", "Οικονόμου"),
         ("Γιάννης", "Αλεξίου")]
CYRILLIC = [("Анна", "Кузнецова"), ("Дмитрий", "Соколов"),
            ("Ольга", "Васильева"), ("Сергей", "Морозов"),
            ("Мария", "Лебедева"), ("Игорь", "Новиков")]
CJK = [("太郎", "山田"), ("花子", "佐藤"), ("伟", "王"), ("秀英", "李"),
       ("民准", "김"), ("서연", "박")]
ARABIC = [("ليلى", "حداد"), ("عمر", "المصري"), ("يوسف", "الخطيب"),
          ("فاطمة", "السيد")]
TITLES = ["", "", "", "", "Dr.", "Mr.", "Ms.", "Prof."]
SUFFIXES = ["", "", "", "", "", "Jr.", "III", "PhD"]
COMPANIES = ["Bluefin Logistics", "Copperleaf Design", "Northwind Orchards",
             "Pinecrest Dental", "Quayside Marine Supply", "Redstone Analytics",
             "Silverbirch Books", "Tidewater Ceramics", "Umber & Ash Architects",
             "Verdant Labs", "Windmere Insurance", "Yellowpine Outfitters",
             "Zephyr Bicycles", "Harbor Light Bakery", "Ironwood Tools",
             "Juniper Health Clinic", "Kestrel Aviation", "Lantern Street Press"]
DEPARTMENTS = ["Sales", "Accounts", "Engineering", "Purchasing", "Support",
               "Legal", "Human Resources", "Research"]
JOBS = ["Account Manager", "Engineer", "Buyer", "Director", "Nurse",
        "Consultant", "Office Manager", "Technician", "Editor", "Pilot",
        "Analyst", "Carpenter", "Chef", "Teacher"]
STREETS = ["Maple Avenue", "Harbour Road", "Old Mill Lane", "Station Street",
           "Chestnut Close", "Quarry Hill", "Kingfisher Way", "Market Square"]
CITIES = [("Springfield", "IL", "USA"), ("Riverton", "WY", "USA"),
          ("Fairview", "OR", "USA"), ("Kingsbridge", "", "United Kingdom"),
          ("Lindenau", "", "Germany"), ("Porto Novo", "", "Portugal"),
          ("Thessaloniki", "", "Greece"), ("Kazan", "", "Russia"),
          ("Sapporo", "Hokkaido", "Japan"), ("Alexandria", "", "Egypt")]
CATEGORIES = ["Business", "Personal", "Friends", "Family", "Suppliers",
              "Customers", "Holiday Cards", "VIP"]
NOTE_LINES = [
    "Prefers e-mail over phone calls.",
    "Met at the regional trade fair; interested in the spring catalogue.",
    "Allergic to peanuts - remember for the team lunch.",
    "Call after 10:00, never on Fridays.",
    "Owes us the signed contract, reminder sent twice.",
    "Has two dogs, Biscuit and Pepper.",
    "Speaks French and Portuguese; invoices in EUR.",
    "Referred by the bakery on Market Square.",
]


def phone(rng):
    return "+1 %03d 555 01%02d" % (rng.randint(201, 989), rng.randint(0, 99))


def ascii_slug(text, rng):
    slug = "".join(c.lower() for c in text if c.isascii() and c.isalnum())
    return slug or "user%d" % rng.randint(100, 999)


def date(rng, first_year, last_year):
    year = rng.randint(first_year, last_year)
    month = rng.randint(1, 12)
    day = rng.randint(1, 28)
    return "%04d-%02d-%02d" % (year, month, day)


def long_notes(rng, at_least):
    lines = []
    size = 0
    while size <= at_least:
        line = "%d. %s" % (len(lines) + 1, rng.choice(NOTE_LINES))
        lines.append(line)
        size += len(line) + 2
    return "\r\n".join(lines)


def address(rng, contact, prefix):
    city, state, country = rng.choice(CITIES)
    contact[prefix + "Street"] = "%d %s" % (rng.randint(1, 999),
                                            rng.choice(STREETS))
    contact[prefix + "City"] = city
    if state:
        contact[prefix + "State"] = state
    contact[prefix + "PostalCode"] = "%05d" % rng.randint(1000, 99999)
    contact[prefix + "Country"] = country


def person(rng, index):
    kind = index % 10
    if kind == 3:
        first, last = rng.choice(GREEK)
    elif kind == 5:
        first, last = rng.choice(CYRILLIC)
    elif kind == 7:
        first, last = rng.choice(CJK)
    elif kind == 9 and index % 20 == 9:
        first, last = rng.choice(ARABIC)
    else:
        first, last = rng.choice(LATIN_FIRST), rng.choice(LATIN_LAST)
    contact = {"FirstName": first, "LastName": last}
    if rng.random() < 0.15:
        contact["MiddleName"] = rng.choice(LATIN_FIRST)
    title, suffix = rng.choice(TITLES), rng.choice(SUFFIXES)
    if title:
        contact["Title"] = title
    if suffix:
        contact["Suffix"] = suffix
    slug = ascii_slug(first + last, rng)
    contact["Email1Address"] = "%s@example.com" % slug
    if rng.random() < 0.3:
        contact["Email2Address"] = "%s.%d@example.org" % (slug, index)
    if rng.random() < 0.1:
        contact["Email3Address"] = "%s@example.net" % slug
    contact["MobileTelephoneNumber"] = phone(rng)
    if rng.random() < 0.5:
        contact["HomeTelephoneNumber"] = phone(rng)
    if rng.random() < 0.5:
        contact["CompanyName"] = rng.choice(COMPANIES)
        contact["JobTitle"] = rng.choice(JOBS)
        contact["BusinessTelephoneNumber"] = phone(rng)
        if rng.random() < 0.4:
            contact["Department"] = rng.choice(DEPARTMENTS)
        if rng.random() < 0.3:
            address(rng, contact, "BusinessAddress")
    if rng.random() < 0.6:
        address(rng, contact, "HomeAddress")
    if rng.random() < 0.5:
        contact["Birthday"] = date(rng, 1940, 2005)
    if rng.random() < 0.2:
        contact["Anniversary"] = date(rng, 1965, 2023)
        contact["Spouse"] = rng.choice(LATIN_FIRST)
    if rng.random() < 0.1:
        contact["Children"] = ", ".join(rng.sample(LATIN_FIRST, 2))
    if rng.random() < 0.4:
        contact["Categories"] = ", ".join(
            sorted(rng.sample(CATEGORIES, rng.randint(1, 2))))
    if rng.random() < 0.25:
        contact["Body"] = "\r\n".join(rng.sample(NOTE_LINES, 2))
    return contact


def company(rng, index):
    name = "%s %s" % (rng.choice(COMPANIES).split()[0],
                      rng.choice(["Trading", "Services", "Holdings",
                                  "Workshop", "Cooperative", "GmbH", "Ltd."]))
    contact = {"CompanyName": name,
               "BusinessTelephoneNumber": phone(rng),
               "WebPage": "https://www.example.com/%s" % ascii_slug(name, rng),
               "Categories": "Suppliers"}
    if rng.random() < 0.5:
        contact["BusinessFaxNumber"] = phone(rng)
    address(rng, contact, "BusinessAddress")
    return contact


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
        here, "contacts.json")
    rng = random.Random(SEED)
    contacts = []
    for index in range(COUNT):
        if index % 12 == 11:
            contact = company(rng, index)
        else:
            contact = person(rng, index)
        if index % 25 == 4:
            # Notes long enough to take the handheld's long-notes path.
            contact["Body"] = long_notes(rng, 4096 + rng.randint(0, 3000))
        contacts.append(contact)
    # A few edge cases at the end.
    contacts.append({"LastName": "Solo"})
    contacts.append({"MiddleName": "Nameless", "Email1Address":
                     "nameless@example.com"})
    contacts.append({"FirstName": "Semi;colon", "LastName": "Comma, Back\\slash",
                     "Body": "Line one\r\nLine two, with; punctuation"})
    with open(out_path, "w", encoding="utf-8", newline="\n") as out:
        json.dump(contacts, out, ensure_ascii=False, indent=2)
        out.write("\n")


if __name__ == "__main__":
    main()
