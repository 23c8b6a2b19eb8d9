#pragma once

#include "host/core/XMessage.h"
#include "host/core/XSpeaker.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

class XRendererStrategy;

// The process's renderers. CollectRenderers forgets the strategies it has and speaks
// XRegisterRendererMessage; every module listening answers by registering its strategies.
class XRendererManager : public XSpeaker
{
public:
    // Spoken by CollectRenderers; no fields of its own.
    class XRegisterRendererMessage : public XMessage
    {
    public:
        explicit XRegisterRendererMessage(const XSpeaker* inSpeaker) : XMessage(inSpeaker) {}
        std::unique_ptr<XMessage> Clone() const override;
    };

    // The process's renderer manager.
    static XRendererManager& sRendererManager();

    XRendererManager() = default;
    ~XRendererManager() override;

    // Takes ownership; a null strategy is reported and ignored.
    void RegisterRendererStrategy(std::unique_ptr<XRendererStrategy> inStrategy);
    // Drops the registered strategies and asks the listeners for theirs again.
    void CollectRenderers();
    // Drops every strategy (before the libraries that made them are unloaded).
    void ClearRenderers();

    std::size_t GetStrategyCount() const;
    // The names in registration order.
    std::vector<std::string> GetRendererNames() const;
    // The first strategy of that name, or null; valid until the strategies are dropped.
    const XRendererStrategy* FindRenderer(const std::string& inName) const;

private:
    mutable std::mutex itsMutex;
    std::vector<std::unique_ptr<XRendererStrategy>> itsStrategies;
};
