#pragma once

#include <cstdint>
#include <string_view>

// Any number of scalar and colour channels; a colour channel's three components take part as
// channels of pure red, green and blue.
struct XNMixedChannelOutputPolicy
{
    static constexpr std::string_view kLayout = "scalar and colour channels";

    static bool AcceptsWidth(std::uint32_t inWidth) { return inWidth == 1 || inWidth == 3; }
};
