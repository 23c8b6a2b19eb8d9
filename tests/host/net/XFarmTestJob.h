#pragma once

// Small job classes for the farm tests: a job adds its value to its shared data's payload, or
// loops until cancelled, or writes a stream no reader accepts. Workers in the test process know
// them; a `voltrace worker` process does not.

#include "host/core/XClassRegistry.h"
#include "host/core/XException.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/core/XThread.h"

#include <atomic>
#include <chrono>
#include <thread>

class XFarmTestData final : public XNetJobSharedData
{
public:
    static constexpr std::uint32_t kClassID = 9101;
    XFarmTestData() = default;
    explicit XFarmTestData(std::uint32_t inPayload) : itsPayload(inPayload) {}
    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XFarmTestData>(*this);
    }
    void Read(XStream& inStream) override
    {
        XNetJobSharedData::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsPayload = inStream.Read32();
    }
    void Write(XStream& outStream) const override
    {
        XNetJobSharedData::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.Write32(itsPayload);
    }
    std::uint32_t itsPayload = 0;
};

class XFarmTestResult final : public XNetJobResult
{
public:
    static constexpr std::uint32_t kClassID = 9102;
    XFarmTestResult() = default;
    explicit XFarmTestResult(std::uint32_t inValue) : itsValue(inValue) {}
    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XFarmTestResult>(*this);
    }
    void Read(XStream& inStream) override
    {
        XNetJobResult::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsValue = inStream.Read32();
    }
    void Write(XStream& outStream) const override
    {
        XNetJobResult::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.Write32(itsValue);
    }
    std::uint32_t itsValue = 0;
};

class XFarmTestJob final : public XNetJob
{
public:
    static constexpr std::uint32_t kClassID = 9103;
    enum XKind : std::uint32_t
    {
        kAdd = 0,
        kLoopUntilCancelled = 1,
        kUnreadable = 2,
    };

    // Jobs of kLoopUntilCancelled that are running, and that stopped because they were.
    static std::atomic<int>& Looping()
    {
        static std::atomic<int> count{0};
        return count;
    }
    static std::atomic<int>& StoppedByCancel()
    {
        static std::atomic<int> count{0};
        return count;
    }

    XFarmTestJob() = default;
    XFarmTestJob(std::uint32_t inSharedDataID, std::uint32_t inValue, XKind inKind = kAdd)
        : itsSharedDataID(inSharedDataID), itsValue(inValue), itsKind(inKind)
    {
        RegisterSharedData(inSharedDataID);
    }

    std::string GetJobName() const override { return "Farm Test Job"; }
    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XFarmTestJob>(*this);
    }
    void Read(XStream& inStream) override
    {
        XNetJob::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsSharedDataID = inStream.Read32();
        itsValue = inStream.Read32();
        itsKind = inStream.Read32();
        if (itsKind == kUnreadable)
        {
            throw XException(XException::kMalformedStream, "a test job nobody can read");
        }
    }
    void Write(XStream& outStream) const override
    {
        XNetJob::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.Write32(itsSharedDataID);
        outStream.Write32(itsValue);
        outStream.Write32(itsKind);
    }

protected:
    void Run() override
    {
        if (itsKind == kLoopUntilCancelled)
        {
            ++Looping();
            struct XCount
            {
                ~XCount()
                {
                    --Looping();
                    ++StoppedByCancel();
                }
            } const count;
            for (;;)
            {
                XThread::TestCancelCurrentThread();
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
        const auto data = GetSharedDataCopy(itsSharedDataID);
        const auto* payload = dynamic_cast<const XFarmTestData*>(data.get());
        if (payload == nullptr)
        {
            throw XException(XException::kInvalidArgument, "no shared data");
        }
        StoreJobResult(std::make_unique<XFarmTestResult>(itsValue + payload->itsPayload));
    }

private:
    std::uint32_t itsSharedDataID = 0;
    std::uint32_t itsValue = 0;
    std::uint32_t itsKind = kAdd;
};

inline void XRegisterFarmTestClasses()
{
    XRegisterClass<XFarmTestData>("XFarmTestData", XNetJobSharedData::kBaseClassID);
    XRegisterClass<XFarmTestResult>("XFarmTestResult", XNetJobResult::kBaseClassID);
    XRegisterClass<XFarmTestJob>("XFarmTestJob", XNetJob::kBaseClassID);
}
