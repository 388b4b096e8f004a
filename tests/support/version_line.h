// What `PROGRAM --version` must print: the program's name, the project's
// version and, in a build from a git checkout, the commit.
#ifndef VORN_TESTS_SUPPORT_VERSION_LINE_H_
#define VORN_TESTS_SUPPORT_VERSION_LINE_H_

#include <string>

namespace testing_support {

// Checks `out` (the whole standard output of --version) with GoogleTest
// expectations.
void ExpectVersionLine(const std::string& out, const std::string& program);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_VERSION_LINE_H_
