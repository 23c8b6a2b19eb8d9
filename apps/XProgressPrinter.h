#pragma once

#include "host/core/XListener.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>

// Shows the progress messages of XProgressCenter::Get() and echoes new session-log entries
// ("Frame took 1.23 seconds") on a stream, standard error for the command. As a bar it redraws
// one line, "Rendering [#############-----------------]  45%"; as lines it writes a line when a
// progress first shows and then at most once per tenth of the way, never two lines closer than
// kLineInterval, and a last line with the final percent, so that logs stay readable. A progress
// shows only once it has lasted its messages' delay. While a printer lives it is the session
// log's sink.
class XProgressPrinter : public XListener
{
public:
    enum class XStyle
    {
        kBar,
        kLines,
    };
    // Microseconds on a monotonic clock; only differences matter.
    using XClock = std::function<std::int64_t()>;

    // Starts listening at once. inOut must outlive the printer; an empty clock means
    // GetMicroSecondTime.
    XProgressPrinter(std::ostream& inOut, XStyle inStyle, XClock inClock = {});
    ~XProgressPrinter() override;

    // A bar when standard error is a terminal, else lines.
    static XStyle GetStyleForStandardError();

    void HandleMessage(const XMessage& inMessage) override;

    static constexpr std::int64_t kLineInterval = 250000; // microseconds
    static constexpr std::int64_t kBarInterval = 100000;
    static constexpr int kBarWidth = 30;

private:
    // Shared with the session log's sink, which may still be running on another thread while
    // the printer goes.
    struct XState;
    std::shared_ptr<XState> itsState;
};
