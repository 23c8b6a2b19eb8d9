#include "host/core/XClassRegistry.h"
#include "host/core/XException.h"
#include "host/ui/WModule.h"
#include "host/ui/XBaseRenderer.h"
#include "host/ui/XModuleLibrary.h"
#include "host/ui/XModuleManager.h"
#include "host/ui/XRendererManager.h"
#include "host/ui/XRendererStrategy.h"

#include <gtest/gtest.h>

namespace
{
constexpr std::uint32_t kModuleID = 1400206262;
} // namespace

TEST(WVolumeRayTracerModuleTest, LoadingSignsInTheModuleAndItsClasses)
{
    XModuleManager& modules = XModuleManager::GetModuleManager();
    ASSERT_EQ(modules.FindModule(kModuleID), nullptr);
    {
        const XModuleLibrary library(VOLTRACE_MODULE_LIBRARY);
        const WModule* module = modules.FindModule(kModuleID);
        ASSERT_NE(module, nullptr);
        EXPECT_EQ(module->GetLowestClassID(), 14900u);
        EXPECT_EQ(module->GetHighestClassID(), 14999u);
        EXPECT_NE(module->GetInstanceHandle(), nullptr);
        const XClassRegistry& registry = XClassRegistry::Get();
        EXPECT_EQ(registry.GetName(14900), "XRenderNetJob");
        EXPECT_EQ(registry.GetName(14901), "XRenderNetJobResult");
        EXPECT_EQ(registry.GetName(14902), "XRayTracerNetJobSharedData");
        EXPECT_EQ(registry.GetName(14912), "X3DScene");
        EXPECT_NE(registry.CreateByName("XRenderNetJob"), nullptr);

        // Other reasons are ignored; unloading twice is harmless.
        EXPECT_EQ(library.CallEntry(7), 1);
        EXPECT_NE(modules.FindModule(kModuleID), nullptr);
        EXPECT_EQ(library.CallEntry(0), 1);
        EXPECT_EQ(modules.FindModule(kModuleID), nullptr);
        EXPECT_FALSE(registry.IsRegistered("XRenderNetJob"));
        EXPECT_EQ(library.CallEntry(0), 1);
        EXPECT_EQ(library.CallEntry(1), 1); // loads again
        EXPECT_NE(modules.FindModule(kModuleID), nullptr);
    }
    // Unloading signs the module out and takes its classes along.
    EXPECT_EQ(modules.FindModule(kModuleID), nullptr);
    EXPECT_TRUE(XClassRegistry::Get().GetName(14900).empty());
}

TEST(WVolumeRayTracerModuleTest, EveryRegistrationMessageRegistersAStrategy)
{
    const XModuleLibrary library(VOLTRACE_MODULE_LIBRARY);
    XRendererManager& manager = XRendererManager::sRendererManager();
    manager.CollectRenderers();
    ASSERT_EQ(manager.GetRendererNames(), std::vector<std::string>{"3D Ray Tracer"});
    const XRendererStrategy* strategy = manager.FindRenderer("3D Ray Tracer");
    ASSERT_NE(strategy, nullptr);
    EXPECT_EQ(strategy->GetRendererKind(), 9);
    EXPECT_TRUE(strategy->CanRender({0, 2}));
    EXPECT_FALSE(strategy->CanRender({0, 1}));
    EXPECT_FALSE(strategy->CanRender({4, 4}));
    EXPECT_TRUE(strategy->CanRender({5, 3})); // unsigned: 3 - 5 wraps around
    EXPECT_THROW(strategy->CreateRenderer("/nonexistent/scene.json"), XException);

    // The module does not remember that it registered: a second message, a second strategy.
    manager.SpeakMessage(XRendererManager::XRegisterRendererMessage(&manager));
    EXPECT_EQ(manager.GetStrategyCount(), 2u);
    manager.ClearRenderers();
}
