#include "x-platform/module/XSceneJson.h"

#include "host/core/XException.h"

#include <cmath>
#include <cstdio>

namespace
{
std::string TypeName(const nlohmann::json& inValue)
{
    switch (inValue.type())
    {
    case nlohmann::json::value_t::object:
        return "an object";
    case nlohmann::json::value_t::array:
        return "an array";
    case nlohmann::json::value_t::string:
        return "a string";
    case nlohmann::json::value_t::boolean:
        return "a boolean";
    case nlohmann::json::value_t::null:
        return "null";
    default:
        return "a number";
    }
}

std::string Describe(double inValue)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", inValue);
    return text;
}
} // namespace

XSceneJson::XSceneJson(const nlohmann::json& inValue, std::string inPath, const std::string& inFile)
    : itsValue(inValue), itsPath(std::move(inPath)), itsFile(inFile)
{
}

void XSceneJson::Fail(const std::string& inWhat) const
{
    const std::string where = itsPath.empty() ? std::string("(top level)") : itsPath;
    throw XException(XException::kInvalidArgument, itsFile + ": " + where + ": " + inWhat);
}

void XSceneJson::ExpectObject() const
{
    if (!itsValue.is_object())
    {
        Fail("expected an object, found " + TypeName(itsValue));
    }
}

void XSceneJson::CheckKeys(std::initializer_list<std::string_view> inAllowed) const
{
    ExpectObject();
    for (const auto& [key, value] : itsValue.items())
    {
        bool known = false;
        for (const std::string_view allowed : inAllowed)
        {
            known = known || key == allowed;
        }
        if (!known)
        {
            (*this)[key].Fail("unknown key");
        }
    }
}

bool XSceneJson::Has(std::string_view inKey) const
{
    return itsValue.is_object() && itsValue.contains(inKey);
}

XSceneJson XSceneJson::operator[](std::string_view inKey) const
{
    ExpectObject();
    const std::string path =
        itsPath.empty() ? std::string(inKey) : itsPath + "." + std::string(inKey);
    const auto found = itsValue.find(inKey);
    if (found == itsValue.end())
    {
        XSceneJson(itsValue, path, itsFile).Fail("missing");
    }
    return XSceneJson(*found, path, itsFile);
}

std::size_t XSceneJson::ExpectArray() const
{
    if (!itsValue.is_array())
    {
        Fail("expected an array, found " + TypeName(itsValue));
    }
    return itsValue.size();
}

XSceneJson XSceneJson::operator[](std::size_t inIndex) const
{
    ExpectArray();
    return XSceneJson(itsValue.at(inIndex), itsPath + "[" + std::to_string(inIndex) + "]", itsFile);
}

double XSceneJson::GetNumber(double inMin, double inMax) const
{
    if (!itsValue.is_number())
    {
        Fail("expected a number, found " + TypeName(itsValue));
    }
    const double value = itsValue.get<double>();
    if (!std::isfinite(value))
    {
        Fail("expected a finite number");
    }
    if (value < inMin || value > inMax)
    {
        Fail(Describe(value) + " is out of its range [" + Describe(inMin) + ", " + Describe(inMax) +
             "]");
    }
    return value;
}

float XSceneJson::GetFloat(double inMin, double inMax) const
{
    const double value = GetNumber(inMin, inMax);
    if (std::fabs(value) > 3.4e38)
    {
        Fail(Describe(value) + " is too large");
    }
    return static_cast<float>(value);
}

std::uint32_t XSceneJson::GetUnsigned(std::uint32_t inMin, std::uint32_t inMax) const
{
    if (!itsValue.is_number_integer())
    {
        Fail(itsValue.is_number() ? "expected a whole number"
                                  : "expected a whole number, found " + TypeName(itsValue));
    }
    const double value = GetNumber(inMin, inMax);
    return static_cast<std::uint32_t>(value);
}

bool XSceneJson::GetBool() const
{
    if (!itsValue.is_boolean())
    {
        Fail("expected true or false, found " + TypeName(itsValue));
    }
    return itsValue.get<bool>();
}

std::string XSceneJson::GetString() const
{
    if (!itsValue.is_string())
    {
        Fail("expected a string, found " + TypeName(itsValue));
    }
    return itsValue.get<std::string>();
}

XMathVectorF3 XSceneJson::GetVector() const
{
    if (ExpectArray() != 3)
    {
        Fail("expected three numbers [x, y, z]");
    }
    return XMathVectorF3((*this)[std::size_t(0)].GetFloat(), (*this)[std::size_t(1)].GetFloat(),
                         (*this)[std::size_t(2)].GetFloat());
}

XRGBSpectrum XSceneJson::GetColour(bool inAllowHex) const
{
    if (itsValue.is_string() && inAllowHex)
    {
        const std::string text = itsValue.get<std::string>();
        unsigned red = 0, green = 0, blue = 0;
        int consumed = 0;
        if (text.size() != 7 ||
            std::sscanf(text.c_str(), "#%2x%2x%2x%n", &red, &green, &blue, &consumed) != 3 ||
            consumed != 7)
        {
            Fail("expected a colour \"#RRGGBB\" or [r, g, b], found \"" + text + "\"");
        }
        return XRGBSpectrum(red / 255.0f, green / 255.0f, blue / 255.0f);
    }
    if (!itsValue.is_array() || itsValue.size() != 3)
    {
        Fail(inAllowHex ? "expected a colour [r, g, b] or \"#RRGGBB\""
                        : "expected a colour [r, g, b]");
    }
    return XRGBSpectrum((*this)[std::size_t(0)].GetFloat(), (*this)[std::size_t(1)].GetFloat(),
                        (*this)[std::size_t(2)].GetFloat());
}

float XSceneJson::GetFloat(std::string_view inKey, float inDefault, double inMin,
                           double inMax) const
{
    return Has(inKey) ? (*this)[inKey].GetFloat(inMin, inMax) : inDefault;
}

bool XSceneJson::GetBool(std::string_view inKey, bool inDefault) const
{
    return Has(inKey) ? (*this)[inKey].GetBool() : inDefault;
}
