#include "host/ui/XModuleLibrary.h"
#include "host/core/XException.h"
#include "host/ui/WModule.h"
#include "host/ui/XModuleManager.h"
#include "host/ui/XRendererManager.h"
#include "host/ui/XRendererStrategy.h"
#include "tests/host/ui/XTestModuleLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <optional>
#include <string>

namespace
{
const std::filesystem::path kModulePath = VOLTRACE_TEST_MODULE_PATH;
const std::filesystem::path kTestProgramFolder = VOLTRACE_TEST_PROGRAM_FOLDER;

// Whether the loader still has the library mapped into the process.
bool IsLoaded(const std::filesystem::path& inPath)
{
    void* const handle = dlopen(inPath.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
    {
        dlclose(handle);
    }
    return handle != nullptr;
}
} // namespace

TEST(XModuleLibraryTest, LoadingSignsInAndOffersRenderersAndUnloadingSignsOut)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    XRendererManager& renderers = XRendererManager::sRendererManager();
    ASSERT_EQ(manager.FindModule(kTestModuleID), nullptr);
    ASSERT_FALSE(IsLoaded(kModulePath));
    {
        const XModuleLibrary library(kModulePath);
        // Drops the strategies when the scope is left, even on failure, before the unload.
        struct XClearRenderers
        {
            ~XClearRenderers() { XRendererManager::sRendererManager().ClearRenderers(); }
        } clearRenderers;
        EXPECT_EQ(library.GetPath(), kModulePath);
        EXPECT_TRUE(IsLoaded(kModulePath));
        const WModule* const module = manager.FindModule(kTestModuleID);
        ASSERT_NE(module, nullptr);
        EXPECT_EQ(module->GetLowestClassID(), kTestModuleLowestClassID);
        EXPECT_EQ(module->GetHighestClassID(), kTestModuleHighestClassID);
        EXPECT_EQ(library.CallEntry(2), 1); // the test entry answers 1 to every reason

        // The module answers the process's renderer manager, once per collection.
        renderers.CollectRenderers();
        renderers.CollectRenderers();
        const auto names = renderers.GetRendererNames();
        EXPECT_EQ(std::count(names.begin(), names.end(), kTestModuleRendererName), 1);
        const XRendererStrategy* const strategy = renderers.FindRenderer(kTestModuleRendererName);
        ASSERT_NE(strategy, nullptr);
        EXPECT_TRUE(strategy->CanRender(XRendererRequest{3, 5}));
        EXPECT_FALSE(strategy->CanRender(XRendererRequest{5, 5}));
    }
    EXPECT_EQ(manager.FindModule(kTestModuleID), nullptr);
    EXPECT_FALSE(IsLoaded(kModulePath));

    // The library loads again after an unload.
    const XModuleLibrary again(kModulePath);
    EXPECT_NE(manager.FindModule(kTestModuleID), nullptr);
}

TEST(XModuleLibraryTest, LoadFailuresThrowNamingTheFileAndTheReason)
{
    const std::filesystem::path refusing = VOLTRACE_TEST_REFUSING_MODULE_PATH;
    // A missing file, a library without the entry, an entry that refuses, and not a library.
    for (const auto& [path, reason] : {std::pair<std::filesystem::path, std::string>{
                                           "/nonexistent-voltrace/libmissing.so", "No such file"},
                                       {VOLTRACE_HOST_LIBRARY_PATH, XModuleLibrary::kEntryName},
                                       {refusing, "refused"},
                                       {kTestProgramFolder, ""}})
    {
        try
        {
            const XModuleLibrary library(path);
            ADD_FAILURE() << "loading " << path << " did not throw";
        }
        catch (const XException& inError)
        {
            const std::string message = inError.what();
            EXPECT_EQ(inError.GetCode(), XException::kIOError);
            EXPECT_NE(message.find(path.string()), std::string::npos) << message;
            EXPECT_NE(message.find(reason), std::string::npos) << message;
        }
    }
    EXPECT_FALSE(IsLoaded(refusing));
}

TEST(XModuleLibraryTest, FindLibraryPrefersArgumentThenEnvironmentThenProgramFolder)
{
    const char* const name = "VOLTRACE_MODULE";
    const char* const before = std::getenv(name);
    const std::optional<std::string> saved =
        before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    setenv(name, "/from/environment/libm.so", 1);
    EXPECT_EQ(XModuleLibrary::FindLibrary("/from/argument/libm.so"), "/from/argument/libm.so");
    EXPECT_EQ(XModuleLibrary::FindLibrary(""), "/from/environment/libm.so");
    for (const bool setEmpty : {false, true})
    {
        setEmpty ? setenv(name, "", 1) : unsetenv(name);
        const std::filesystem::path found = XModuleLibrary::FindLibrary({});
        EXPECT_EQ(found.filename(), XModuleLibrary::kDefaultFileName);
        EXPECT_TRUE(std::filesystem::equivalent(found.parent_path(), kTestProgramFolder)) << found;
    }
    saved ? setenv(name, saved->c_str(), 1) : unsetenv(name);
}
