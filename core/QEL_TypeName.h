// SPDX-License-Identifier: MIT
// The spelling of a type as the compiler prints it ("double",
// "QEL::Elements::CPoint3<double>"), used in the locations of template
// operations such as "QEL::Core::CQEL_Array<double>::Front".
#pragma once

#include <string_view>

namespace QEL::Core::Detail {

template <class T>
constexpr std::string_view TypeName() {
    // GCC and clang print "... [with T = <type>; ...]" or "... [T = <type>]".
    std::string_view pretty = __PRETTY_FUNCTION__;
    std::string_view const key = "T = ";
    auto begin = pretty.find(key);
    if (begin == std::string_view::npos) return "T";
    begin += key.size();
    auto end = pretty.find_first_of(";]", begin);
    return pretty.substr(begin, end - begin);
}

}  // namespace QEL::Core::Detail
