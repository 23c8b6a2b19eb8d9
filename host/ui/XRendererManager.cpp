#include "host/ui/XRendererManager.h"

#include "host/core/XInternalError.h"
#include "host/ui/XRendererStrategy.h"

#include <algorithm>

X_SOURCE_NAME("host/ui/XRendererManager");

std::unique_ptr<XMessage> XRendererManager::XRegisterRendererMessage::Clone() const
{
    return std::make_unique<XRegisterRendererMessage>(*this);
}

XRendererManager& XRendererManager::sRendererManager()
{
    static XRendererManager manager;
    return manager;
}

XRendererManager::~XRendererManager() = default;

void XRendererManager::RegisterRendererStrategy(std::unique_ptr<XRendererStrategy> inStrategy)
{
    X_ASSERT(inStrategy != nullptr);
    if (inStrategy == nullptr)
    {
        return;
    }
    const std::lock_guard lock(itsMutex);
    itsStrategies.push_back(std::move(inStrategy));
}

void XRendererManager::CollectRenderers()
{
    ClearRenderers();
    // Not under the lock: the listeners register their strategies from inside HandleMessage.
    SpeakMessage(XRegisterRendererMessage(this));
}

void XRendererManager::ClearRenderers()
{
    std::vector<std::unique_ptr<XRendererStrategy>> dropped;
    {
        const std::lock_guard lock(itsMutex);
        dropped.swap(itsStrategies);
    }
    // The strategies are destroyed here, outside the lock.
}

std::size_t XRendererManager::GetStrategyCount() const
{
    const std::lock_guard lock(itsMutex);
    return itsStrategies.size();
}

std::vector<std::string> XRendererManager::GetRendererNames() const
{
    const std::lock_guard lock(itsMutex);
    std::vector<std::string> names;
    names.reserve(itsStrategies.size());
    for (const auto& strategy : itsStrategies)
    {
        names.push_back(strategy->GetName());
    }
    return names;
}

const XRendererStrategy* XRendererManager::FindRenderer(const std::string& inName) const
{
    const std::lock_guard lock(itsMutex);
    const auto found =
        std::find_if(itsStrategies.begin(), itsStrategies.end(),
                     [&](const auto& inStrategy) { return inStrategy->GetName() == inName; });
    return found == itsStrategies.end() ? nullptr : found->get();
}
