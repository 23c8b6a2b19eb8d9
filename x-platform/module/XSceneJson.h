#pragma once

#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

// A checked view of one value of a scene file that knows its JSON path ("surfaces[3].material"),
// so that every error names the file and the offending value.
class XSceneJson
{
public:
    XSceneJson(const nlohmann::json& inValue, std::string inPath, const std::string& inFile);

    const std::string& GetPath() const { return itsPath; }
    [[noreturn]] void Fail(const std::string& inWhat) const;

    bool IsObject() const { return itsValue.is_object(); }
    bool IsArray() const { return itsValue.is_array(); }
    bool IsString() const { return itsValue.is_string(); }
    bool IsNumber() const { return itsValue.is_number(); }

    // Object access. CheckKeys fails on the first key that is not in the list.
    void ExpectObject() const;
    void CheckKeys(std::initializer_list<std::string_view> inAllowed) const;
    bool Has(std::string_view inKey) const;
    XSceneJson operator[](std::string_view inKey) const; // the key must exist

    // Array access.
    std::size_t ExpectArray() const;
    XSceneJson operator[](std::size_t inIndex) const;

    // Scalars; numbers must be finite and lie in [inMin, inMax].
    double GetNumber(double inMin = -1e30, double inMax = 1e30) const;
    float GetFloat(double inMin = -1e30, double inMax = 1e30) const;
    std::uint32_t GetUnsigned(std::uint32_t inMin, std::uint32_t inMax) const;
    bool GetBool() const;
    std::string GetString() const;

    // [x, y, z] of finite numbers.
    XMathVectorF3 GetVector() const;
    // [r, g, b] of finite numbers; a channel colour may also be written "#RRGGBB".
    XRGBSpectrum GetColour(bool inAllowHex = false) const;

    // Defaults for absent keys.
    float GetFloat(std::string_view inKey, float inDefault, double inMin = -1e30,
                   double inMax = 1e30) const;
    bool GetBool(std::string_view inKey, bool inDefault) const;

private:
    const nlohmann::json& itsValue;
    std::string itsPath;
    const std::string& itsFile;
};
