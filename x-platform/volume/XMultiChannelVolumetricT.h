#pragma once

#include "host/core/XStream.h"
#include "x-platform/volume/XMultiChannelVolumetric.h"
#include "x-platform/volume/XNChannelVolumetricShader.h"
#include "x-platform/volume/XNMixedChannelOutputPolicy.h"
#include "x-platform/volume/XNScalarChannelOutputPolicy.h"
#include "x-platform/volume/XSingleChannelVolumetricShader.h"
#include "x-platform/volume/XSingleScalarChannelOutputPolicy.h"
#include "x-platform/volume/XSingleVectorChannelOutputPolicy.h"
#include "x-platform/volume/XThreeChannelVolumetricShader.h"
#include "x-platform/volume/XTwoChannelVolumetricShader.h"

#include <cstdint>
#include <memory>

// A multi-channel volumetric bound to one per-voxel rule (TShader) and class identifier. The
// sampling code is instantiated per rule, so the eight corners of a sample are addressed with
// the stored strides and classified by table lookups with no virtual call, lock or allocation.
template <class TShader, std::uint32_t kID>
class XMultiChannelVolumetricT final : public XMultiChannelVolumetric
{
public:
    static constexpr std::uint32_t kClassID = kID;

    XMultiChannelVolumetricT() = default;
    XMultiChannelVolumetricT(std::vector<XChannelShadeSpecification> inSpecifications,
                             std::uint32_t inSampleID, std::uint32_t inTimePoint)
        : XMultiChannelVolumetric(std::move(inSpecifications), inSampleID, inTimePoint)
    {
    }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XMultiChannelVolumetricT>(*this);
    }
    std::uint64_t GetStreamSize() const override
    {
        return XMultiChannelVolumetric::GetStreamSize() + 8;
    }
    // The base record, then this class's version record (no fields of its own).
    void Read(XStream& inStream) override
    {
        XMultiChannelVolumetric::Read(inStream);
        inStream.ReadClassVersion(kClassID);
    }
    void Write(XStream& outStream) const override
    {
        XMultiChannelVolumetric::Write(outStream);
        outStream.WriteVersion(kClassID);
    }

    std::string_view GetLayoutDescription() const override { return TShader::kLayout; }

    // The trilinearly interpolated classified opacity; 0 outside the data bounds.
    float GetDensity(const XMathVectorF3& inVoxelPoint) const override
    {
        XSampleSite site;
        if (!LocateSample(inVoxelPoint, site))
        {
            return 0.0f;
        }
        const XComponentTable* const tables = GetComponentTables();
        const std::uint32_t components = GetComponentCount();
        const std::array<std::ptrdiff_t, 8>& offsets = GetCornerOffsets();
        float opacity = 0.0f;
        for (int corner = 0; corner < 8; ++corner)
        {
            opacity += site.weights[corner] *
                       TShader::Opacity(site.voxel + offsets[corner], tables, components);
        }
        return opacity;
    }

    // The opacity of GetDensity (the incoming value is ignored) and the trilinearly interpolated
    // classified colour.
    void Shade(const XMathVectorF3& inVoxelPoint, const XMathVectorF3& /*inDirection*/,
               float& ioOpacity, XRGBSpectrum& outColour) const override
    {
        XSampleSite site;
        ioOpacity = 0.0f;
        outColour = XRGBSpectrum();
        if (!LocateSample(inVoxelPoint, site))
        {
            return;
        }
        const XComponentTable* const tables = GetComponentTables();
        const std::uint32_t components = GetComponentCount();
        const std::array<std::ptrdiff_t, 8>& offsets = GetCornerOffsets();
        float opacity = 0.0f;
        XRGBSpectrum colour;
        for (int corner = 0; corner < 8; ++corner)
        {
            XRGBSpectrum cornerColour;
            const float cornerOpacity =
                TShader::Classify(site.voxel + offsets[corner], tables, components, cornerColour);
            opacity += site.weights[corner] * cornerOpacity;
            colour += cornerColour * site.weights[corner];
        }
        ioOpacity = opacity;
        outColour = colour;
    }

protected:
    bool AcceptsLayout(std::span<const XPackedChannelEntry> inChannels) const override
    {
        return TShader::Accepts(inChannels);
    }
};

// The six classes and the names they are registered under.
using X1ChannelVolumetric =
    XMultiChannelVolumetricT<XSingleChannelVolumetricShader<XSingleScalarChannelOutputPolicy>,
                             14923>;
using X2ChannelVolumetric = XMultiChannelVolumetricT<XTwoChannelVolumetricShader, 14924>;
using X3ChannelVolumetric = XMultiChannelVolumetricT<XThreeChannelVolumetricShader, 14925>;
using XNScalarChannelVolumetric =
    XMultiChannelVolumetricT<XNChannelVolumetricShader<XNScalarChannelOutputPolicy>, 14926>;
using XNMixedChannelVolumetric =
    XMultiChannelVolumetricT<XNChannelVolumetricShader<XNMixedChannelOutputPolicy>, 14927>;
using X1ColourChannelVolumetric =
    XMultiChannelVolumetricT<XSingleChannelVolumetricShader<XSingleVectorChannelOutputPolicy>,
                             14928>;
