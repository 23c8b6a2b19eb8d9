#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A table of spots read from a CSV file with a header row: one sphere per row, at the row's
// position, with the row's radius or a default one. Errors name the file and the line.
class XSpotTable
{
public:
    struct XSpot
    {
        double x = 0, y = 0, z = 0, radius = 0;
    };

    // Header names of the four roles, matched case-insensitively; an empty radius column name
    // or a header without it means every spot takes the default radius.
    struct XColumns
    {
        std::string x = "x", y = "y", z = "z", radius = "radius";
    };

    static std::vector<XSpot> Read(const std::filesystem::path& inFile, const XColumns& inColumns,
                                   double inDefaultRadius);
};
