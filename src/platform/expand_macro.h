// Expansion of environment macros written as <NAME> in configuration texts.
#ifndef INETMGR_PLATFORM_EXPAND_MACRO_H
#define INETMGR_PLATFORM_EXPAND_MACRO_H

#include <string>

namespace corvane_com::zel::platform {

// Replaces every "<NAME>" by the value of the environment variable NAME (empty
// when it is unset). A "<" without a closing ">" and a "<>" are kept as text.
std::wstring cmnlib_ExpandMacro(const std::wstring& text);

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_EXPAND_MACRO_H
