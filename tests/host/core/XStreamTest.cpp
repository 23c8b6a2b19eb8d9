#include "host/core/XStream.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XStorable.h"
#include "tests/scenes/XStreamTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <random>

namespace
{
// A storable with a scalar, a string, a byte payload and a list of child objects, so that the
// reading paths for counts, lengths and nesting are all exercised.
class XTestNode : public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 64001;

    float itsValue = 0;
    std::string itsLabel;
    std::vector<std::uint8_t> itsPayload;
    std::vector<std::unique_ptr<XTestNode>> itsChildren;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        auto copy = std::make_unique<XTestNode>();
        copy->itsValue = itsValue;
        copy->itsLabel = itsLabel;
        copy->itsPayload = itsPayload;
        for (const auto& child : itsChildren)
        {
            copy->itsChildren.push_back(XClone(*child));
        }
        return copy;
    }
    std::uint64_t GetStreamSize() const override { return 0; }
    void Write(XStream& outStream) const override
    {
        outStream.WriteVersion(kClassID);
        outStream.WriteFloat32S(itsValue);
        outStream.WriteString(itsLabel);
        outStream.Write32(static_cast<std::uint32_t>(itsPayload.size()));
        outStream.WriteBuffer8(itsPayload.data(), itsPayload.size());
        outStream.Write32(static_cast<std::uint32_t>(itsChildren.size()));
        for (const auto& child : itsChildren)
        {
            outStream.WriteObject(child.get());
        }
    }
    void Read(XStream& inStream) override
    {
        inStream.ReadClassVersion(kClassID);
        itsValue = inStream.ReadFloat32S();
        itsLabel = inStream.ReadString(1024);
        itsPayload.resize(inStream.ReadCount(1));
        inStream.ReadBuffer8(itsPayload.data(), itsPayload.size());
        const std::uint32_t children = inStream.ReadCount(1);
        itsChildren.clear();
        for (std::uint32_t i = 0; i < children; ++i)
        {
            itsChildren.push_back(inStream.ReadObjectAs<XTestNode>());
        }
    }
};

class XTestOther : public XStorable
{
public:
    std::uint32_t GetClassID() const override { return 64002; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XTestOther>(); }
    std::uint64_t GetStreamSize() const override { return 0; }
    void Write(XStream& outStream) const override { outStream.WriteVersion(64002); }
    void Read(XStream& inStream) override { inStream.ReadClassVersion(64002); }
};

class XStreamTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterClass<XTestNode>("XTestNode");
        XRegisterClass<XTestOther>("XTestOther");
    }

    static std::unique_ptr<XTestNode> MakeTree()
    {
        auto root = std::make_unique<XTestNode>();
        root->itsValue = 1.5f;
        root->itsLabel = "root";
        root->itsPayload = {1, 2, 3, 250};
        for (int i = 0; i < 3; ++i)
        {
            auto child = std::make_unique<XTestNode>();
            child->itsValue = float(i);
            child->itsLabel = "child" + std::to_string(i);
            child->itsChildren.push_back(std::make_unique<XTestNode>());
            root->itsChildren.push_back(std::move(child));
        }
        root->itsChildren.push_back(nullptr);
        return root;
    }
};
} // namespace

TEST_F(XStreamTest, PrimitivesAreLittleEndianWithTheDocumentedWidths)
{
    XMemoryStream stream;
    stream.Write8(0xAB);
    stream.Write32(0x01020304u);
    stream.Write64(0x0102030405060708ull);
    stream.WriteFloat32S(1.0f);
    stream.WriteFloat64(-2.0);
    stream.WriteString("hi");
    stream.WriteVersion(14912);

    const std::vector<std::uint8_t> expected =
        {
            0xAB, 0x04, 0x03, 0x02, 0x01, 0x08, 0x07, 0x06, 0x05,
            0x04, 0x03, 0x02, 0x01, 0x00, 0x00, 0x80, 0x3F, // 1.0f
            0,    0,    0,    0,    0,    0,    0,    0xC0, // -2.0
            2,    0,    0,    0,    'h',  'i',  0x40, 0x3A, 0,
            0,    1,    0,    0,    0, // class 14912, version 1
        };
    EXPECT_EQ(stream.GetBytes(), expected);

    EXPECT_EQ(stream.Read8(), 0xAB);
    EXPECT_EQ(stream.Read32(), 0x01020304u);
    EXPECT_EQ(stream.Read64(), 0x0102030405060708ull);
    EXPECT_EQ(stream.ReadFloat32S(), 1.0f);
    EXPECT_EQ(stream.ReadFloat64(), -2.0);
    EXPECT_EQ(stream.ReadString(10), "hi");
    EXPECT_EQ(stream.ReadClassVersion(14912), 1u);
    EXPECT_EQ(stream.GetRemaining(), 0u);
    EXPECT_EQ(XErrorCodeOf([&] { stream.Read8(); }), XException::kTruncatedStream);
}

TEST_F(XStreamTest, NonFiniteFloatsKeepTheirBits)
{
    XMemoryStream stream;
    stream.WriteFloat32S(std::numeric_limits<float>::infinity());
    stream.WriteFloat32S(-0.0f);
    stream.WriteFloat32S(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(stream.ReadFloat32S(), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::signbit(stream.ReadFloat32S()));
    EXPECT_TRUE(std::isnan(stream.ReadFloat32S()));
}

TEST_F(XStreamTest, VersionRecordsRejectOtherClassesAndNewerVersions)
{
    XMemoryStream stream;
    stream.WriteVersion(14901);
    stream.WriteVersion(14912, 65536);
    stream.WriteVersion(14912, 65535);
    EXPECT_EQ(XErrorCodeOf([&] { stream.ReadClassVersion(14900); }), XException::kWrongClass);
    EXPECT_EQ(XErrorCodeOf([&] { stream.ReadClassVersion(14912); }), XException::kVersionTooNew);
    EXPECT_EQ(stream.ReadClassVersion(14912), 65535u);
}

TEST_F(XStreamTest, ObjectsRoundTripWithTheirClassAndNulls)
{
    const auto tree = MakeTree();
    XMemoryStream stream;
    stream.WriteObject(tree.get());
    stream.WriteObject(nullptr);

    const auto read = stream.ReadObjectAs<XTestNode>();
    ASSERT_TRUE(read);
    EXPECT_EQ(read->itsValue, 1.5f);
    EXPECT_EQ(read->itsLabel, "root");
    EXPECT_EQ(read->itsPayload, tree->itsPayload);
    ASSERT_EQ(read->itsChildren.size(), 4u);
    EXPECT_EQ(read->itsChildren[2]->itsLabel, "child2");
    EXPECT_EQ(read->itsChildren[2]->itsChildren.size(), 1u);
    EXPECT_EQ(read->itsChildren[3], nullptr);
    EXPECT_EQ(stream.ReadObject(), nullptr);
    EXPECT_EQ(stream.GetRemaining(), 0u);

    // Writing the copy gives the same bytes: nothing was lost on the way.
    XMemoryStream again;
    again.WriteObject(read.get());
    again.WriteObject(nullptr);
    EXPECT_EQ(again.GetBytes(), stream.GetBytes());
}

TEST_F(XStreamTest, ObjectsOfTheWrongKindOrUnknownClassAreErrors)
{
    XTestOther other;
    XMemoryStream stream;
    stream.WriteObject(&other);
    EXPECT_EQ(XErrorCodeOf([&] { stream.ReadObjectAs<XTestNode>(); }), XException::kWrongClass);

    class XUnregistered : public XTestOther
    {
        std::uint32_t GetClassID() const override { return 64099; }
    } unregistered;
    XMemoryStream refused;
    EXPECT_EQ(XErrorCodeOf([&] { refused.WriteObject(&unregistered); }), XException::kUnknownClass);

    // A stream naming a class this process does not know.
    XMemoryStream foreign;
    foreign.Write8(1);
    foreign.WriteString("XNoSuchClass");
    foreign.Write64(0);
    EXPECT_EQ(XErrorCodeOf([&] { foreign.ReadObject(); }), XException::kUnknownClass);
}

TEST_F(XStreamTest, HugeCountsAndLengthsFailBeforeAllocating)
{
    XMemoryStream count;
    count.Write32(0xFFFFFFFFu);
    EXPECT_EQ(XErrorCodeOf([&] { count.ReadCount(1); }), XException::kMalformedStream);

    XMemoryStream text;
    text.Write32(0x7FFFFFFFu);
    EXPECT_EQ(XErrorCodeOf([&] { text.ReadString(UINT32_MAX); }), XException::kTruncatedStream);

    // An object whose body claims more bytes than the stream holds.
    XMemoryStream body;
    body.Write8(1);
    body.WriteString("XTestNode");
    body.Write64(1ull << 60);
    EXPECT_EQ(XErrorCodeOf([&] { body.ReadObject(); }), XException::kTruncatedStream);
}

TEST_F(XStreamTest, AnObjectCannotReadPastItsOwnBody)
{
    // A child whose recorded body length is shorter than what it reads: its reads must stop at
    // its own end instead of consuming the parent's bytes.
    XTestNode child;
    child.itsLabel = "child";
    XMemoryStream stream;
    stream.WriteObject(&child);
    std::vector<std::uint8_t> bytes = stream.GetBytes();
    const std::size_t lengthAt = 1 + 4 + std::string("XTestNode").size();
    bytes[lengthAt] -= 4; // body length is the low byte, little-endian
    bytes.insert(bytes.end(), {0, 0, 0, 0});
    XMemoryStream shortened(bytes);
    EXPECT_EQ(XErrorCodeOf([&] { shortened.ReadObject(); }), XException::kTruncatedStream);

    // And one that leaves bytes of its body unread is malformed.
    bytes = stream.GetBytes();
    bytes[lengthAt] += 3;
    bytes.insert(bytes.end(), {0, 0, 0});
    XMemoryStream padded(bytes);
    EXPECT_EQ(XErrorCodeOf([&] { padded.ReadObject(); }), XException::kMalformedStream);
}

TEST_F(XStreamTest, NestingIsBounded)
{
    auto root = std::make_unique<XTestNode>();
    XTestNode* tip = root.get();
    for (int depth = 0; depth < XStream::kMaxObjectNesting + 5; ++depth)
    {
        tip->itsChildren.push_back(std::make_unique<XTestNode>());
        tip = tip->itsChildren.back().get();
    }
    XMemoryStream stream;
    stream.WriteObject(root.get());
    EXPECT_EQ(XErrorCodeOf([&] { stream.ReadObject(); }), XException::kNestingTooDeep);
}

TEST_F(XStreamTest, TruncatedCorruptedAndRandomBytesGiveOnlyExceptions)
{
    XMemoryStream stream;
    stream.WriteObject(MakeTree().get());
    const std::vector<std::uint8_t> good = stream.GetBytes();

    const auto readAll = [](std::vector<std::uint8_t> inBytes)
    {
        XMemoryStream in(std::move(inBytes));
        try
        {
            in.ReadObject();
        }
        catch (const XException&)
        {
        }
    };

    // Every truncation fails with an exception (or reads a complete prefix), never a crash.
    for (std::size_t length = 0; length < good.size(); ++length)
    {
        XMemoryStream in(std::vector<std::uint8_t>(good.begin(), good.begin() + length));
        EXPECT_THROW(in.ReadObject(), XException) << "length " << length;
    }

    std::mt19937 random(12345);
    // Every single byte flipped to a few values.
    for (std::size_t at = 0; at < good.size(); ++at)
    {
        for (const std::uint8_t value : {0x00, 0x7F, 0x80, 0xFF})
        {
            auto bytes = good;
            bytes[at] = value;
            readAll(std::move(bytes));
        }
    }
    // Random corruptions and random streams.
    for (int trial = 0; trial < 2000; ++trial)
    {
        auto bytes = good;
        for (int flips = 0; flips < 4; ++flips)
        {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        readAll(std::move(bytes));

        std::vector<std::uint8_t> noise(random() % 200);
        for (auto& b : noise)
        {
            b = static_cast<std::uint8_t>(random());
        }
        if (!noise.empty() && trial % 2 == 0)
        {
            noise[0] = 1; // an object record, so that the class name path is tried too
        }
        readAll(std::move(noise));
    }
}

TEST_F(XStreamTest, FileStreamsRoundTripAndNameTheFileInErrors)
{
    const auto path = std::filesystem::temp_directory_path() / "voltrace-stream-test.bin";
    {
        XFileStream out(path.string(), XFileStream::XMode::kWrite);
        out.WriteObject(MakeTree().get());
        out.Write32(77);
        out.Close();
    }
    {
        XFileStream in(path.string(), XFileStream::XMode::kRead);
        const auto tree = in.ReadObjectAs<XTestNode>();
        ASSERT_TRUE(tree);
        EXPECT_EQ(tree->itsChildren.size(), 4u);
        EXPECT_EQ(in.Read32(), 77u);
        EXPECT_EQ(XErrorCodeOf([&] { in.Read32(); }), XException::kTruncatedStream);
    }
    std::filesystem::remove(path);

    try
    {
        XFileStream missing("/nonexistent-dir/voltrace.bin", XFileStream::XMode::kRead);
        FAIL() << "opening a missing file must fail";
    }
    catch (const XException& e)
    {
        EXPECT_EQ(e.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(e.what()).find("/nonexistent-dir/voltrace.bin"), std::string::npos);
    }
}
