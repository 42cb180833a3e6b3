#pragma once
// The name generator of a parameterised suite whose rows carry their own name.
#include <string>

namespace tbt::test {

inline constexpr auto byName = [](const auto& info) { return std::string(info.param.name); };

}  // namespace tbt::test
