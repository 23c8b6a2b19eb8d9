#pragma once

#include <cstdint>
#include <string_view>

// Any number of scalar channels, one component each.
struct XNScalarChannelOutputPolicy
{
    static constexpr std::string_view kLayout = "scalar channels only";

    static bool AcceptsWidth(std::uint32_t inWidth) { return inWidth == 1; }
};
