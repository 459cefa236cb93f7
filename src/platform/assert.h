// Programming-error assertions. They stay on in every build type: a broken
// invariant in an agent library must stop the process, not corrupt a site list.
#ifndef INETMGR_PLATFORM_ASSERT_H
#define INETMGR_PLATFORM_ASSERT_H

namespace corvane_com::zel::platform {

// Prints `expressionText` on its own line to stderr and aborts the process.
[[noreturn]] void assertionFailed(const char* expressionText);

}  // namespace corvane_com::zel::platform

// `text` is the expression as the system reports it, e.g. "isValid()" or
// "0!=siteName"; it is given separately so that formatting the code does not
// change the message.
#define INETMGR_ASSERT(condition, text)                              \
  do {                                                               \
    if (!(condition)) ::corvane_com::zel::platform::assertionFailed(text); \
  } while (false)

#endif  // INETMGR_PLATFORM_ASSERT_H
