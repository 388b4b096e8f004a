// libical's own verdict on iCalendar text the tests produce: the parser's
// X-LIC-ERROR properties, anywhere in the tree.
#ifndef VORN_DESKTOP_FORMATS_ICAL_CHECK_TEST_H_
#define VORN_DESKTOP_FORMATS_ICAL_CHECK_TEST_H_

#include <libical/ical.h>

#include <string>
#include <vector>

namespace desktop::ical_test {

inline void CollectErrors(icalcomponent* c, std::vector<std::string>& out) {
  for (icalproperty* p =
           icalcomponent_get_first_property(c, ICAL_XLICERROR_PROPERTY);
       p != nullptr;
       p = icalcomponent_get_next_property(c, ICAL_XLICERROR_PROPERTY)) {
    out.push_back(icalproperty_get_xlicerror(p));
  }
  for (icalcomponent* k =
           icalcomponent_get_first_component(c, ICAL_ANY_COMPONENT);
       k != nullptr;
       k = icalcomponent_get_next_component(c, ICAL_ANY_COMPONENT)) {
    CollectErrors(k, out);
  }
}

// The problems libical finds in `text`; empty when it parses cleanly into
// one VCALENDAR.
inline std::vector<std::string> LibicalProblems(const std::string& text) {
  std::vector<std::string> problems;
  icalcomponent* root = icalparser_parse_string(text.c_str());
  if (root == nullptr) return {"does not parse"};
  if (icalcomponent_isa(root) != ICAL_VCALENDAR_COMPONENT) {
    problems.push_back("not one VCALENDAR");
  }
  CollectErrors(root, problems);
  icalcomponent_free(root);
  return problems;
}

}  // namespace desktop::ical_test

#endif  // VORN_DESKTOP_FORMATS_ICAL_CHECK_TEST_H_
