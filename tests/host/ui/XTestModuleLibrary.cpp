// A module library for the tests: loading it signs in a module that offers one renderer
// strategy, unloading it deletes the module.
#include "tests/host/ui/XTestModuleLibrary.h"
#include "host/core/XException.h"
#include "host/core/XListener.h"
#include "host/core/XMessage.h"
#include "host/ui/WModule.h"
#include "host/ui/XBaseRenderer.h"
#include "host/ui/XModuleManager.h"
#include "host/ui/XRendererManager.h"
#include "host/ui/XRendererStrategy.h"

#include <memory>
#include <typeinfo>

namespace
{
class XTestModuleStrategy : public XRendererStrategy
{
public:
    std::int32_t GetRendererKind() const override { return 77; }
    std::string GetName() const override { return kTestModuleRendererName; }
    std::unique_ptr<XBaseRenderer>
    CreateRenderer(const std::filesystem::path& inSceneFile) const override
    {
        throw XException(XException::kInvalidArgument,
                         "The test module renders nothing: " + inSceneFile.string());
    }
    bool CanRender(const XRendererRequest& inRequest) const override
    {
        return inRequest.upper > inRequest.lower;
    }
};

class WTestModule : public WModule, public XListener
{
public:
    WTestModule() : WModule(kTestModuleLowestClassID, kTestModuleHighestClassID)
    {
        Subscribe(XRendererManager::sRendererManager());
    }
    ~WTestModule() override { UnsubscribeAll(); }

    std::uint32_t GetModuleID() const override { return kTestModuleID; }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (typeid(inMessage) == typeid(XRendererManager::XRegisterRendererMessage))
        {
            XRendererManager::sRendererManager().RegisterRendererStrategy(
                std::make_unique<XTestModuleStrategy>());
        }
    }
};

std::unique_ptr<WTestModule> gModule;
} // namespace

extern "C" __attribute__((visibility("default"))) int VoltraceModuleEntry(int inReason)
{
    if (inReason == 1 && gModule == nullptr)
    {
        gModule = std::make_unique<WTestModule>();
        XModuleManager::GetModuleManager().SignInModule(*gModule);
    }
    else if (inReason == 0)
    {
        gModule.reset();
    }
    return 1;
}
