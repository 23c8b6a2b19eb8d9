#include "x-platform/module/XSpotTable.h"

#include "host/core/XException.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>

namespace
{
std::string Lower(std::string inText)
{
    std::transform(inText.begin(), inText.end(), inText.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return inText;
}

std::string Trim(const std::string& inText)
{
    const auto first = inText.find_first_not_of(" \t\r\"");
    if (first == std::string::npos)
    {
        return {};
    }
    const auto last = inText.find_last_not_of(" \t\r\"");
    return inText.substr(first, last - first + 1);
}

std::vector<std::string> SplitFields(const std::string& inLine)
{
    std::vector<std::string> fields;
    std::size_t start = 0;
    while (true)
    {
        const auto comma = inLine.find(',', start);
        fields.push_back(Trim(inLine.substr(start, comma - start)));
        if (comma == std::string::npos)
        {
            return fields;
        }
        start = comma + 1;
    }
}
} // namespace

std::vector<XSpotTable::XSpot> XSpotTable::Read(const std::filesystem::path& inFile,
                                                const XColumns& inColumns, double inDefaultRadius)
{
    const std::string name = inFile.string();
    std::ifstream in(inFile);
    if (!in)
    {
        throw XException(XException::kIOError, name + ": cannot open the spot table");
    }
    const auto fail = [&](std::size_t inLine, const std::string& inWhat)
    {
        throw XException(XException::kInvalidArgument,
                         name + ":" + std::to_string(inLine) + ": " + inWhat);
    };

    std::string line;
    std::size_t lineNumber = 0;
    // The header is the first line that is not blank.
    std::vector<std::string> header;
    while (header.empty() && std::getline(in, line))
    {
        ++lineNumber;
        if (!Trim(line).empty())
        {
            header = SplitFields(line);
        }
    }
    if (header.empty())
    {
        fail(std::max<std::size_t>(lineNumber, 1), "the spot table has no header row");
    }
    const auto column = [&](const std::string& inName, bool inRequired) -> long
    {
        for (std::size_t i = 0; i < header.size(); ++i)
        {
            if (!inName.empty() && Lower(header[i]) == Lower(inName))
            {
                return static_cast<long>(i);
            }
        }
        if (inRequired)
        {
            fail(lineNumber, "the header has no column \"" + inName + "\"");
        }
        return -1;
    };
    const long xColumn = column(inColumns.x, true);
    const long yColumn = column(inColumns.y, true);
    const long zColumn = column(inColumns.z, true);
    const long radiusColumn = column(inColumns.radius, false);

    std::vector<XSpot> spots;
    while (std::getline(in, line))
    {
        ++lineNumber;
        if (Trim(line).empty())
        {
            continue;
        }
        const std::vector<std::string> fields = SplitFields(line);
        const auto number = [&](long inColumn, const std::string& inRole)
        {
            if (inColumn >= static_cast<long>(fields.size()))
            {
                fail(lineNumber, "the row has no " + inRole + " field (" +
                                     std::to_string(fields.size()) + " fields)");
            }
            const std::string& text = fields[static_cast<std::size_t>(inColumn)];
            double value = 0;
            const auto [end, error] =
                std::from_chars(text.data(), text.data() + text.size(), value);
            if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
            {
                fail(lineNumber, "the " + inRole + " field \"" + text + "\" is not a number");
            }
            return value;
        };
        XSpot spot;
        spot.x = number(xColumn, "x");
        spot.y = number(yColumn, "y");
        spot.z = number(zColumn, "z");
        const bool hasRadius = radiusColumn >= 0 &&
                               radiusColumn < static_cast<long>(fields.size()) &&
                               !fields[static_cast<std::size_t>(radiusColumn)].empty();
        spot.radius = hasRadius ? number(radiusColumn, "radius") : inDefaultRadius;
        if (!(spot.radius > 0))
        {
            fail(lineNumber, "the radius must be greater than 0");
        }
        spots.push_back(spot);
    }
    return spots;
}
