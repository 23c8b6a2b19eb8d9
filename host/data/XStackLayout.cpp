#include "host/data/XStackLayout.h"

#include "host/core/XException.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <string_view>

namespace
{
constexpr std::uint32_t kNoPage = std::numeric_limits<std::uint32_t>::max();

[[noreturn]] void Fail(const std::string& inFileName, const std::string& inWhat)
{
    throw XException(XException::kMalformedStream, inFileName + ": " + inWhat);
}

std::string_view Trim(std::string_view inText)
{
    const auto first = inText.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
    {
        return {};
    }
    const auto last = inText.find_last_not_of(" \t\r\n");
    return inText.substr(first, last - first + 1);
}

template <class T>
std::optional<T> ParseNumber(std::string_view inText)
{
    inText = Trim(inText);
    if (!inText.empty() && inText.front() == '+')
    {
        inText.remove_prefix(1);
    }
    T value{};
    const auto [end, error] = std::from_chars(inText.data(), inText.data() + inText.size(), value);
    if (error != std::errc() || end != inText.data() + inText.size() || inText.empty())
    {
        return std::nullopt;
    }
    return value;
}

// A size that must be a whole number of at least 1.
std::uint32_t ParseCount(const std::string& inFileName, const std::string& inWhere,
                         std::string_view inText)
{
    const std::optional<std::uint32_t> value = ParseNumber<std::uint32_t>(inText);
    if (!value || *value == 0)
    {
        Fail(inFileName, inWhere + " is \"" + std::string(inText) + "\", not a count of 1 or more");
    }
    return *value;
}

double ParseLength(const std::string& inFileName, const std::string& inWhere,
                   std::string_view inText)
{
    const std::optional<double> value = ParseNumber<double>(inText);
    if (!value || !std::isfinite(*value) || *value <= 0.0)
    {
        Fail(inFileName, inWhere + " is \"" + std::string(inText) + "\", not a positive length");
    }
    return *value;
}

// The element's name without a namespace prefix.
std::string_view LocalName(const pugi::xml_node& inNode)
{
    const std::string_view name = inNode.name();
    const auto colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node Child(const pugi::xml_node& inNode, std::string_view inName)
{
    for (const pugi::xml_node& child : inNode.children())
    {
        if (child.type() == pugi::node_element && LocalName(child) == inName)
        {
            return child;
        }
    }
    return {};
}

std::string TypeNameInOME(XVoxelType inType)
{
    switch (inType)
    {
    case XVoxelType::kGrey16:
        return "uint16";
    case XVoxelType::kFloat32:
        return "float";
    case XVoxelType::kGrey8:
    case XVoxelType::kRGB24:
        break;
    }
    return "uint8";
}

std::string PlaneText(std::uint32_t inZ, std::uint32_t inChannel, std::uint32_t inTimePoint)
{
    return "(z " + std::to_string(inZ) + ", c " + std::to_string(inChannel) + ", t " +
           std::to_string(inTimePoint) + ")";
}
} // namespace

double XStackLayout::MicrometresPer(const std::string& inUnit)
{
    static const std::map<std::string, double, std::less<>> kUnits = {
        {"µm", 1.0},       // U+00B5 micro sign
        {"μm", 1.0},       // U+03BC Greek mu
        {"\xB5m", 1.0},    // Latin-1 micro sign, as older ImageJ files hold it
        {"\\u00B5m", 1.0}, // ImageJ's escaped micro sign
        {"um", 1.0},         {"micron", 1.0}, {"microns", 1.0},    {"micrometer", 1.0},
        {"micrometre", 1.0}, {"nm", 1e-3},    {"nanometer", 1e-3}, {"pm", 1e-6},
        {"Å", 1e-4},         {"mm", 1e3},     {"cm", 1e4},         {"dm", 1e5},
        {"m", 1e6},          {"meter", 1e6},  {"metre", 1e6},      {"in", 25400.0},
        {"inch", 25400.0},
    };
    const auto found = kUnits.find(Trim(inUnit));
    return found == kUnits.end() ? 0.0 : found->second;
}

XStackLayout XStackLayout::Describe(const XFacts& inFacts)
{
    const std::string_view description = Trim(inFacts.description);
    if (description.starts_with("<") && description.find("<OME") != std::string_view::npos)
    {
        return FromOME(inFacts);
    }
    // Also find OME-XML with a namespace prefix on its root, such as <ome:OME ...>.
    if (description.starts_with("<") && description.find(":OME") != std::string_view::npos)
    {
        return FromOME(inFacts);
    }
    if (description.starts_with("ImageJ="))
    {
        return FromImageJ(inFacts);
    }
    return FromPages(inFacts);
}

std::size_t XStackLayout::PlaneIndex(std::uint32_t inZ, std::uint32_t inChannel,
                                     std::uint32_t inTimePoint) const
{
    return (std::size_t{inTimePoint} * itsChannelCount + inChannel) * itsSizeZ + inZ;
}

std::uint32_t XStackLayout::GetPage(std::uint32_t inZ, std::uint32_t inChannel,
                                    std::uint32_t inTimePoint) const
{
    return itsPages[PlaneIndex(inZ, inChannel, inTimePoint)];
}

void XStackLayout::SetAxes(const std::string& inSlowestFirst, const XFacts& inFacts)
{
    itsAxes = {};
    for (const char axis : inSlowestFirst)
    {
        const std::uint32_t size = axis == 'Z'   ? itsSizeZ
                                   : axis == 'C' ? itsChannelCount
                                                 : itsTimePointCount;
        if (size > 1)
        {
            itsAxes.names += axis;
            itsAxes.shape.push_back(size);
        }
    }
    itsAxes.names += "YX";
    itsAxes.shape.push_back(inFacts.height);
    itsAxes.shape.push_back(inFacts.width);
    if (inFacts.type == XVoxelType::kRGB24)
    {
        itsAxes.names += 'S';
        itsAxes.shape.push_back(3);
    }
}

XStackLayout XStackLayout::FromPages(const XFacts& inFacts)
{
    XStackLayout layout;
    layout.itsKind = XKind::kPlain;
    layout.itsSizeZ = inFacts.pageCount;
    layout.itsPages.resize(inFacts.pageCount);
    for (std::uint32_t page = 0; page < inFacts.pageCount; ++page)
    {
        layout.itsPages[page] = page;
    }
    layout.SetAxes("Z", inFacts);
    return layout;
}

XStackLayout XStackLayout::FromImageJ(const XFacts& inFacts)
{
    const std::string& name = inFacts.fileName;
    std::map<std::string, std::string, std::less<>> entries;
    std::string_view rest = inFacts.description;
    while (!rest.empty())
    {
        const auto end = rest.find('\n');
        const std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        const auto equals = line.find('=');
        if (equals != std::string_view::npos)
        {
            entries.emplace(std::string(Trim(line.substr(0, equals))),
                            std::string(Trim(line.substr(equals + 1))));
        }
    }
    const auto entry = [&entries](std::string_view inKey) -> const std::string*
    {
        const auto found = entries.find(inKey);
        return found == entries.end() ? nullptr : &found->second;
    };
    const auto count = [&](std::string_view inKey) -> std::optional<std::uint32_t>
    {
        const std::string* text = entry(inKey);
        if (text == nullptr)
        {
            return std::nullopt;
        }
        return ParseCount(name, "ImageJ metadata's " + std::string(inKey), *text);
    };

    XStackLayout layout;
    layout.itsKind = XKind::kImageJ;
    const std::optional<std::uint32_t> images = count("images");
    const std::optional<std::uint32_t> channels = count("channels");
    const std::optional<std::uint32_t> slices = count("slices");
    const std::optional<std::uint32_t> frames = count("frames");
    layout.itsChannelCount = channels.value_or(1);
    layout.itsTimePointCount = frames.value_or(1);
    const std::uint64_t channelsTimesFrames =
        std::uint64_t{layout.itsChannelCount} * layout.itsTimePointCount;
    if (slices)
    {
        layout.itsSizeZ = *slices;
    }
    else
    {
        // A plain ImageJ stack: every image not spent on channels and frames is a slice.
        const std::uint64_t all = images.value_or(1);
        layout.itsSizeZ =
            static_cast<std::uint32_t>(std::max<std::uint64_t>(1, all / channelsTimesFrames));
    }
    const std::uint64_t planes = channelsTimesFrames * layout.itsSizeZ;
    std::string product = std::to_string(layout.itsSizeZ) + " slices";
    if (layout.itsChannelCount > 1 || channels)
    {
        product += " × " + std::to_string(layout.itsChannelCount) + " channels";
    }
    if (layout.itsTimePointCount > 1 || frames)
    {
        product += " × " + std::to_string(layout.itsTimePointCount) + " frames";
    }
    if (images && *images != planes)
    {
        Fail(name, "ImageJ metadata says images=" + std::to_string(*images) + " but " + product +
                       " = " + std::to_string(planes) + " planes");
    }
    if (planes != inFacts.pageCount)
    {
        Fail(name, "ImageJ metadata says " + product + " = " + std::to_string(planes) +
                       " planes but the file has " + std::to_string(inFacts.pageCount));
    }

    // Channel fastest, then slice, then frame: page = (t × Z + z) × C + c.
    layout.itsPages.assign(static_cast<std::size_t>(planes), kNoPage);
    for (std::uint32_t t = 0; t < layout.itsTimePointCount; ++t)
    {
        for (std::uint32_t z = 0; z < layout.itsSizeZ; ++z)
        {
            for (std::uint32_t c = 0; c < layout.itsChannelCount; ++c)
            {
                layout.itsPages[layout.PlaneIndex(z, c, t)] =
                    (t * layout.itsSizeZ + z) * layout.itsChannelCount + c;
            }
        }
    }

    // Calibration: pixel size 1 / resolution in the given unit, slice spacing in the same unit.
    const std::string* unit = entry("unit");
    const double factor = unit != nullptr ? MicrometresPer(*unit) : 0.0;
    if (factor > 0.0)
    {
        const double xResolution = inFacts.xResolution;
        const double yResolution = inFacts.yResolution > 0.0 ? inFacts.yResolution : xResolution;
        layout.itsScale[0] = factor * (xResolution > 0.0 ? 1.0 / xResolution : 1.0);
        layout.itsScale[1] = factor * (yResolution > 0.0 ? 1.0 / yResolution : 1.0);
        const std::string* spacing = entry("spacing");
        layout.itsScale[2] =
            factor *
            (spacing != nullptr ? ParseLength(name, "ImageJ metadata's spacing", *spacing) : 1.0);
        for (double& scale : layout.itsScale)
        {
            if (!std::isfinite(scale) || scale <= 0.0)
            {
                Fail(name, "ImageJ calibration gives a voxel size that is not a positive number");
            }
        }
    }
    layout.SetAxes("TZC", inFacts);
    return layout;
}

XStackLayout XStackLayout::FromOME(const XFacts& inFacts)
{
    const std::string& name = inFacts.fileName;
    pugi::xml_document document;
    const pugi::xml_parse_result parsed =
        document.load_buffer(inFacts.description.data(), inFacts.description.size(),
                             pugi::parse_default, pugi::encoding_utf8);
    if (!parsed)
    {
        Fail(name, std::string("OME-XML cannot be parsed: ") + parsed.description() +
                       " at character " + std::to_string(parsed.offset));
    }
    const pugi::xml_node pixels = Child(Child(Child(document, "OME"), "Image"), "Pixels");
    if (!pixels)
    {
        Fail(name, "OME-XML has no OME/Image/Pixels element");
    }
    const auto attribute = [&pixels](const char* inName) -> std::optional<std::string>
    {
        const pugi::xml_attribute found = pixels.attribute(inName);
        if (!found)
        {
            return std::nullopt;
        }
        return std::string(found.value());
    };
    const auto size = [&](const char* inName)
    {
        const std::optional<std::string> text = attribute(inName);
        if (!text)
        {
            Fail(name, std::string("OME-XML Pixels has no ") + inName);
        }
        return ParseCount(name, std::string("OME-XML ") + inName, *text);
    };

    const std::uint32_t sizeX = size("SizeX");
    const std::uint32_t sizeY = size("SizeY");
    if (sizeX != inFacts.width || sizeY != inFacts.height)
    {
        Fail(name, "OME-XML says the planes are " + std::to_string(sizeX) + " × " +
                       std::to_string(sizeY) + " but the first page is " +
                       std::to_string(inFacts.width) + " × " + std::to_string(inFacts.height));
    }
    const std::string type = attribute("Type").value_or("");
    if (type != TypeNameInOME(inFacts.type))
    {
        Fail(name, "OME-XML says the pixel type is \"" + type + "\" but the pages hold " +
                       std::string(XVoxelTypeName(inFacts.type)) + " samples");
    }

    XStackLayout layout;
    layout.itsKind = XKind::kOME;
    layout.itsSizeZ = size("SizeZ");
    layout.itsTimePointCount = size("SizeT");
    const std::uint32_t sizeC = size("SizeC");
    // OME counts the samples of colour pixels as channels.
    const std::uint32_t samples = inFacts.type == XVoxelType::kRGB24 ? 3 : 1;
    if (sizeC % samples != 0)
    {
        Fail(name, "OME-XML says SizeC=" + std::to_string(sizeC) +
                       ", which is not a whole number of RGB channels");
    }
    layout.itsChannelCount = sizeC / samples;

    const std::string order = attribute("DimensionOrder").value_or("");
    const bool validOrder = order.size() == 5 && order.starts_with("XY") &&
                            std::is_permutation(order.begin() + 2, order.end(), "ZCT");
    if (!validOrder)
    {
        Fail(name, "OME-XML DimensionOrder \"" + order + "\" is not XY followed by Z, C and T");
    }
    // Plane number p in DimensionOrder, fastest axis first, to (z, c, t).
    std::uint32_t sizes[3] = {};
    for (int axis = 0; axis < 3; ++axis)
    {
        const char letter = order[2 + axis];
        sizes[axis] = letter == 'Z'   ? layout.itsSizeZ
                      : letter == 'C' ? layout.itsChannelCount
                                      : layout.itsTimePointCount;
    }
    const auto planeOf = [&](std::uint64_t inNumber)
    {
        std::uint32_t zct[3] = {};
        for (int axis = 0; axis < 3; ++axis)
        {
            const auto coordinate = static_cast<std::uint32_t>(inNumber % sizes[axis]);
            inNumber /= sizes[axis];
            zct[std::string_view("ZCT").find(order[2 + axis])] = coordinate;
        }
        return std::array<std::uint32_t, 3>{zct[0], zct[1], zct[2]};
    };
    const auto numberOf = [&](std::uint32_t inZ, std::uint32_t inC, std::uint32_t inT)
    {
        const std::uint32_t zct[3] = {inZ, inC, inT};
        std::uint64_t number = 0;
        for (int axis = 2; axis >= 0; --axis)
        {
            number = number * sizes[axis] + zct[std::string_view("ZCT").find(order[2 + axis])];
        }
        return number;
    };

    const std::uint64_t planes =
        std::uint64_t{layout.itsSizeZ} * layout.itsChannelCount * layout.itsTimePointCount;
    const std::string product = std::to_string(layout.itsSizeZ) + " z × " +
                                std::to_string(layout.itsChannelCount) + " channels × " +
                                std::to_string(layout.itsTimePointCount) +
                                " time points = " + std::to_string(planes) + " planes";
    if (planes > inFacts.pageCount)
    {
        Fail(name, "OME-XML says " + product + " but the file has " +
                       std::to_string(inFacts.pageCount) + " pages");
    }
    layout.itsPages.assign(static_cast<std::size_t>(planes), kNoPage);

    bool anyTiffData = false;
    for (const pugi::xml_node& data : pixels.children())
    {
        if (data.type() != pugi::node_element || LocalName(data) != "TiffData")
        {
            continue;
        }
        anyTiffData = true;
        const pugi::xml_node uuid = Child(data, "UUID");
        const std::string otherFile = uuid ? uuid.attribute("FileName").value() : "";
        if (!otherFile.empty() && otherFile != name)
        {
            Fail(name, "OME-XML places planes in another file, " + otherFile +
                           ", which is not supported");
        }
        const auto number = [&](const char* inName, std::uint32_t inDefault)
        {
            const pugi::xml_attribute found = data.attribute(inName);
            if (!found)
            {
                return inDefault;
            }
            const std::optional<std::uint32_t> value = ParseNumber<std::uint32_t>(found.value());
            if (!value)
            {
                Fail(name, std::string("OME-XML TiffData ") + inName + " is \"" + found.value() +
                               "\", not a whole number");
            }
            return *value;
        };
        const bool hasIFD = static_cast<bool>(data.attribute("IFD"));
        const std::uint32_t firstPage = number("IFD", 0);
        const std::uint32_t firstZ = number("FirstZ", 0);
        const std::uint32_t firstC = number("FirstC", 0);
        const std::uint32_t firstT = number("FirstT", 0);
        const bool hasCount = static_cast<bool>(data.attribute("PlaneCount"));
        // Without PlaneCount: one page when IFD is given, else every page of the file.
        const std::uint32_t count = number("PlaneCount", hasIFD ? 1 : inFacts.pageCount);
        if (firstZ >= layout.itsSizeZ || firstC >= layout.itsChannelCount ||
            firstT >= layout.itsTimePointCount)
        {
            Fail(name, "OME-XML TiffData starts at plane " + PlaneText(firstZ, firstC, firstT) +
                           ", outside the " + product);
        }
        const std::uint64_t start = numberOf(firstZ, firstC, firstT);
        for (std::uint64_t k = 0; k < count; ++k)
        {
            if (start + k >= planes)
            {
                if (hasCount)
                {
                    Fail(name, "OME-XML TiffData maps " + std::to_string(count) +
                                   " planes from plane " + PlaneText(firstZ, firstC, firstT) +
                                   ", beyond the " + product);
                }
                break;
            }
            const auto [z, c, t] = planeOf(start + k);
            const std::uint64_t page = firstPage + k;
            if (page >= inFacts.pageCount)
            {
                Fail(name, "OME-XML places plane " + PlaneText(z, c, t) + " on page " +
                               std::to_string(page) + " but the file has " +
                               std::to_string(inFacts.pageCount) + " pages");
            }
            layout.itsPages[layout.PlaneIndex(z, c, t)] = static_cast<std::uint32_t>(page);
        }
    }
    if (!anyTiffData)
    {
        if (planes != inFacts.pageCount)
        {
            Fail(name, "OME-XML says " + product + " but the file has " +
                           std::to_string(inFacts.pageCount) + " pages");
        }
        for (std::uint64_t number = 0; number < planes; ++number)
        {
            const auto [z, c, t] = planeOf(number);
            layout.itsPages[layout.PlaneIndex(z, c, t)] = static_cast<std::uint32_t>(number);
        }
    }
    for (std::uint32_t t = 0; t < layout.itsTimePointCount; ++t)
    {
        for (std::uint32_t c = 0; c < layout.itsChannelCount; ++c)
        {
            for (std::uint32_t z = 0; z < layout.itsSizeZ; ++z)
            {
                if (layout.GetPage(z, c, t) == kNoPage)
                {
                    Fail(name, "OME-XML gives no page for plane " + PlaneText(z, c, t));
                }
            }
        }
    }

    const char* const physical[3] = {"PhysicalSizeX", "PhysicalSizeY", "PhysicalSizeZ"};
    for (int axis = 0; axis < 3; ++axis)
    {
        const std::optional<std::string> text = attribute(physical[axis]);
        if (!text)
        {
            continue;
        }
        const double value = ParseLength(name, std::string("OME-XML ") + physical[axis], *text);
        const std::optional<std::string> unit =
            attribute((std::string(physical[axis]) + "Unit").c_str());
        // The schema's default unit is the micrometre; units that are not lengths are kept.
        const double factor = unit ? MicrometresPer(*unit) : 1.0;
        layout.itsScale[axis] = factor > 0.0 ? value * factor : value;
    }

    std::string slowestFirst(order.rbegin(), order.rend() - 2);
    layout.SetAxes(slowestFirst, inFacts);
    return layout;
}
