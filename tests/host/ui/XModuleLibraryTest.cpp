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
#include <functional>
#include <optional>
#include <string>

namespace
{
const std::filesystem::path kModulePath = VOLTRACE_TEST_MODULE_PATH;
const std::filesystem::path kRefusingModulePath = VOLTRACE_TEST_REFUSING_MODULE_PATH;
const std::filesystem::path kLibraryWithoutEntryPath = VOLTRACE_HOST_LIBRARY_PATH;
const std::filesystem::path kTestProgramFolder = VOLTRACE_TEST_PROGRAM_FOLDER;

// Whether the loader still has the library mapped into the process.
bool IsLoaded(const std::filesystem::path& inPath)
{
    void* const handle = dlopen(inPath.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr)
    {
        return false;
    }
    dlclose(handle);
    return true;
}

std::size_t CountModules(std::uint32_t inModuleID)
{
    const auto modules = XModuleManager::GetModuleManager().GetModules();
    return static_cast<std::size_t>(std::count_if(
        modules.begin(), modules.end(),
        [&](const WModule* inModule) { return inModule->GetModuleID() == inModuleID; }));
}

// Loads inPath expecting a load failure; returns the failure's message.
std::string LoadFailure(const std::filesystem::path& inPath)
{
    try
    {
        const XModuleLibrary library(inPath);
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kIOError);
        return error.what();
    }
    ADD_FAILURE() << "loading " << inPath << " did not throw";
    return {};
}

// Sets or unsets an environment variable for its own lifetime.
class XEnvironmentOverride
{
public:
    XEnvironmentOverride(const char* inName, const char* inValue) : itsName(inName)
    {
        if (const char* previous = std::getenv(inName))
        {
            itsPrevious = previous;
        }
        if (inValue != nullptr)
        {
            setenv(inName, inValue, 1);
        }
        else
        {
            unsetenv(inName);
        }
    }
    ~XEnvironmentOverride()
    {
        if (itsPrevious)
        {
            setenv(itsName, itsPrevious->c_str(), 1);
        }
        else
        {
            unsetenv(itsName);
        }
    }
    XEnvironmentOverride(const XEnvironmentOverride&) = delete;
    XEnvironmentOverride& operator=(const XEnvironmentOverride&) = delete;

private:
    const char* itsName;
    std::optional<std::string> itsPrevious;
};

// Drops every strategy when the test leaves, even on failure, before the library is unloaded.
struct XClearRenderersOnExit
{
    ~XClearRenderersOnExit() { XRendererManager::sRendererManager().ClearRenderers(); }
};
} // namespace

TEST(XModuleLibraryTest, LoadingSignsInAndUnloadingSignsOut)
{
    XModuleManager& manager = XModuleManager::GetModuleManager();
    ASSERT_EQ(manager.FindModule(kTestModuleID), nullptr);
    ASSERT_FALSE(IsLoaded(kModulePath));
    {
        const XModuleLibrary library(kModulePath);
        EXPECT_EQ(library.GetPath(), kModulePath);
        EXPECT_TRUE(IsLoaded(kModulePath));

        const WModule* const module = manager.FindModule(kTestModuleID);
        ASSERT_NE(module, nullptr);
        EXPECT_EQ(module->GetLowestClassID(), kTestModuleLowestClassID);
        EXPECT_EQ(module->GetHighestClassID(), kTestModuleHighestClassID);

        // Reasons other than load and unload change nothing.
        EXPECT_EQ(library.CallEntry(2), 1);
        EXPECT_EQ(CountModules(kTestModuleID), 1u);
        EXPECT_EQ(manager.FindModule(kTestModuleID), module);
    }
    EXPECT_EQ(manager.FindModule(kTestModuleID), nullptr);
    EXPECT_FALSE(IsLoaded(kModulePath));

    // The library loads again after an unload.
    const XModuleLibrary again(kModulePath);
    EXPECT_EQ(CountModules(kTestModuleID), 1u);
}

TEST(XModuleLibraryTest, LoadedModuleAnswersTheProcessRendererManager)
{
    XRendererManager& renderers = XRendererManager::sRendererManager();
    const XModuleLibrary library(kModulePath);
    const XClearRenderersOnExit clearOnExit;

    renderers.CollectRenderers();
    const XRendererStrategy* const strategy = renderers.FindRenderer(kTestModuleRendererName);
    ASSERT_NE(strategy, nullptr);
    EXPECT_TRUE(strategy->CanRender(XRendererRequest{3, 5}));
    EXPECT_FALSE(strategy->CanRender(XRendererRequest{5, 5}));

    renderers.CollectRenderers();
    const auto names = renderers.GetRendererNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), kTestModuleRendererName), 1);
}

TEST(XModuleLibraryTest, LoadFailuresThrowNamingTheFile)
{
    const std::filesystem::path missing = "/nonexistent-voltrace-folder/libmissing_module.so";
    const std::string missingMessage = LoadFailure(missing);
    EXPECT_NE(missingMessage.find(missing.string()), std::string::npos) << missingMessage;
    // The loader's own reason follows the file name.
    EXPECT_NE(missingMessage.find("No such file"), std::string::npos) << missingMessage;

    const std::string noEntryMessage = LoadFailure(kLibraryWithoutEntryPath);
    EXPECT_NE(noEntryMessage.find(kLibraryWithoutEntryPath.string()), std::string::npos)
        << noEntryMessage;
    EXPECT_NE(noEntryMessage.find(XModuleLibrary::kEntryName), std::string::npos) << noEntryMessage;

    const std::string refusedMessage = LoadFailure(kRefusingModulePath);
    EXPECT_NE(refusedMessage.find(kRefusingModulePath.string()), std::string::npos)
        << refusedMessage;
    EXPECT_FALSE(IsLoaded(kRefusingModulePath));

    // Not a library at all.
    const std::string notLibraryMessage = LoadFailure(kTestProgramFolder);
    EXPECT_NE(notLibraryMessage.find(kTestProgramFolder.string()), std::string::npos)
        << notLibraryMessage;
}

TEST(XModuleLibraryTest, FindLibraryPrefersArgumentThenEnvironmentThenProgramFolder)
{
    {
        const XEnvironmentOverride environment("VOLTRACE_MODULE", "/from/environment/libm.so");
        EXPECT_EQ(XModuleLibrary::FindLibrary("/from/argument/libm.so"), "/from/argument/libm.so");
        EXPECT_EQ(XModuleLibrary::FindLibrary(""), "/from/environment/libm.so");
    }
    for (const char* unset : {static_cast<const char*>(nullptr), ""})
    {
        const XEnvironmentOverride environment("VOLTRACE_MODULE", unset);
        const std::filesystem::path found = XModuleLibrary::FindLibrary({});
        EXPECT_EQ(found.filename(), XModuleLibrary::kDefaultFileName);
        EXPECT_TRUE(std::filesystem::equivalent(found.parent_path(), kTestProgramFolder)) << found;
    }
}
