// The text of the exception a call throws, so a test can compare it in one line.
#ifndef INETMGR_TESTS_THROWN_H
#define INETMGR_TESTS_THROWN_H

#include <string>

namespace inetmgr_test {

// what() of the E thrown by `call`; "nothing thrown" when it returns. Other
// exception types propagate and fail the test.
template <typename E, typename F>
std::string thrownText(F&& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "nothing thrown";
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_THROWN_H
