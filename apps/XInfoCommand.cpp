#include "apps/XInfoCommand.h"

#include "apps/XExitCode.h"
#include "host/core/XException.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace
{
std::string NumberText(double inValue, bool inWhole)
{
    if (inWhole)
    {
        return std::to_string(static_cast<long long>(inValue));
    }
    char text[64];
    const auto [end, error] =
        std::to_chars(std::begin(text), std::end(text), inValue, std::chars_format::general, 6);
    return error == std::errc() ? std::string(text, end) : std::string("?");
}

// Messages may span lines (libtiff's, for one); an error is one line.
std::string OneLine(std::string inText)
{
    for (char& character : inText)
    {
        if (character == '\n' || character == '\r')
        {
            character = ' ';
        }
    }
    return inText;
}

void PrintInfo(const std::filesystem::path& inPath, const XDataVolumeSequence& inSequence,
               std::ostream& outText)
{
    const std::uint32_t channels = inSequence.GetChannelCount();
    const std::uint32_t timePoints = inSequence.GetTimePointCount();
    // Read every range first, so that a stack whose voxels cannot be read prints nothing.
    std::vector<std::vector<std::pair<double, double>>> ranges(channels);
    for (std::uint32_t channel = 1; channel <= channels; ++channel)
    {
        for (std::uint32_t time = 0; time < timePoints; ++time)
        {
            ranges[channel - 1].push_back(inSequence.GetValueRange(channel, time));
        }
    }

    const XDataVolumeSequence::XAxes& axes = inSequence.GetAxes();
    std::string shape;
    for (const std::uint32_t size : axes.shape)
    {
        shape += (shape.empty() ? "" : " × ") + std::to_string(size);
    }
    const double sx = inSequence.GetXScale();
    const double sy = inSequence.GetYScale();
    const double sz = inSequence.GetZScale();
    const bool whole = inSequence.GetVoxelType() != XVoxelType::kFloat32;

    outText << "File         " << inPath.string() << '\n'
            << "Axes         " << axes.names << "  " << shape << '\n'
            << "Channels     " << channels << '\n'
            << "Time points  " << timePoints << '\n'
            << "Voxel type   " << XVoxelTypeName(inSequence.GetVoxelType()) << '\n'
            << "Voxel size   " << NumberText(sx, false) << " × " << NumberText(sy, false) << " × "
            << NumberText(sz, false) << " µm (x × y × z)"
            << (sx == 1.0 && sy == 1.0 && sz == 1.0 ? ", or no calibration recorded" : "") << '\n'
            << "Value range  min..max " << (timePoints == 1 ? "at time point 0" : "per time point")
            << '\n';
    for (std::uint32_t channel = 1; channel <= channels; ++channel)
    {
        outText << "  channel " << channel << "  ";
        for (std::uint32_t time = 0; time < timePoints; ++time)
        {
            const auto [low, high] = ranges[channel - 1][time];
            if (timePoints > 1)
            {
                outText << (time == 0 ? "" : ", ") << 't' << time << ' ';
            }
            outText << NumberText(low, whole) << ".." << NumberText(high, whole);
        }
        outText << '\n';
    }
}
} // namespace

int RunInfo(const std::filesystem::path& inPath, std::ostream& outText, std::ostream& outErrors)
{
    const std::string name = inPath.filename().string();
    const auto fail = [&](const std::string& inWhat, int inCode)
    {
        // The file's name leads the line unless the message already gives it.
        const std::string text = OneLine(inWhat);
        outErrors << "voltrace info: "
                  << (text.find(name) == std::string::npos ? inPath.string() + ": " : "") << text
                  << '\n';
        return inCode;
    };
    try
    {
        std::error_code error;
        if (!std::filesystem::exists(inPath, error))
        {
            return fail(inPath.string() + ": no such file", XExitCode::kBadInput);
        }
        if (std::filesystem::is_directory(inPath, error))
        {
            return fail(inPath.string() + ": a folder, not a stack", XExitCode::kBadInput);
        }
        const std::uint32_t sample = XSampleDB::GetDB().OpenFile(inPath);
        const XDataVolumeSequence* sequence = XDBGetSample<XDataVolumeSequence>(sample);
        if (sequence == nullptr)
        {
            return fail(inPath.string() + ": not a stack of volumes", XExitCode::kBadInput);
        }
        PrintInfo(inPath, *sequence, outText);
        return XExitCode::kDone;
    }
    catch (const XException& inError)
    {
        return fail(inError.what(), XExitCode::kBadInput);
    }
    catch (const std::exception& inError)
    {
        return fail(inError.what(), XExitCode::kFailure);
    }
}

void XAddInfoCommand(CLI::App& inApp, int& outExitCode)
{
    CLI::App* command = inApp.add_subcommand(
        "info", "Print a stack's axes, shape, channels, voxel type, voxel size and value ranges");
    auto stack = std::make_shared<std::string>();
    command->add_option("STACK", *stack, "A TIFF stack (OME-TIFF, ImageJ hyperstack or plain)")
        ->required();
    command->callback([stack, &outExitCode]
                      { outExitCode = RunInfo(*stack, std::cout, std::cerr); });
}
