#include "apps/XProgressPrinter.h"

#include "host/core/XProgressCenter.h"
#include "host/core/XProgressMessage.h"
#include "host/core/XSessionLog.h"
#include "host/core/XTime.h"

#include <unistd.h>

#include <cstdio>
#include <limits>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

namespace
{
std::string Label(const std::string& inText)
{
    return inText.empty() ? std::string("Working") : inText;
}
} // namespace

struct XProgressPrinter::XState
{
    // What has been shown of one progress.
    struct XShown
    {
        bool heard = false;
        std::int64_t firstHeard = 0;
        bool shown = false;
        int percent = -1; // last shown
        std::string text; // last shown
    };

    std::mutex mutex;
    std::ostream* out = nullptr;
    XStyle style = XStyle::kLines;
    XClock clock;
    bool listening = true;
    std::map<std::uint64_t, XShown> progresses;
    std::int64_t lastLine = std::numeric_limits<std::int64_t>::min() / 2;
    // The bar on the terminal's current line, if any.
    bool barShown = false;
    std::uint64_t barID = 0;
    std::string bar;
    std::int64_t lastDraw = 0;

    void Show(const XProgressMessage& inMessage);
    void ShowLine(XShown& ioShown, const XProgressMessage& inMessage, std::int64_t inNow);
    void ShowBar(XShown& ioShown, const XProgressMessage& inMessage, std::int64_t inNow);
    void DrawBar(const std::string& inText, int inPercent);
    void EndBar();
    void Echo(const std::string& inText);
};

void XProgressPrinter::XState::Show(const XProgressMessage& inMessage)
{
    const std::lock_guard lock(mutex);
    if (!listening)
    {
        return;
    }
    const std::int64_t now = clock();
    XShown& shown = progresses.try_emplace(inMessage.GetProgressID()).first->second;
    if (!shown.heard)
    {
        shown.heard = true;
        shown.firstHeard = now;
    }
    if (!shown.shown && !inMessage.IsDone() &&
        now - shown.firstHeard < std::int64_t{inMessage.GetDelayMilliseconds()} * 1000)
    {
        return; // not long enough yet to be worth showing
    }
    if (style == XStyle::kBar)
    {
        ShowBar(shown, inMessage, now);
    }
    else
    {
        ShowLine(shown, inMessage, now);
    }
    if (inMessage.IsDone())
    {
        progresses.erase(inMessage.GetProgressID());
    }
}

void XProgressPrinter::XState::ShowLine(XShown& ioShown, const XProgressMessage& inMessage,
                                        std::int64_t inNow)
{
    const int percent = inMessage.GetPercent();
    if (inMessage.IsDone())
    {
        // Only a progress that showed gets a last line, and only when it adds something: a
        // new percent or text, or that it stopped short.
        if (ioShown.shown &&
            (percent != ioShown.percent || inMessage.GetText() != ioShown.text || percent < 100))
        {
            *out << Label(inMessage.GetText()) << ' ' << percent << '%'
                 << (percent < 100 ? " (stopped)" : "") << '\n';
            out->flush();
            lastLine = inNow;
        }
        return;
    }
    const bool news = !ioShown.shown || percent / 10 > ioShown.percent / 10 ||
                      inMessage.GetText() != ioShown.text;
    if (!news || inNow - lastLine < kLineInterval)
    {
        return;
    }
    *out << Label(inMessage.GetText()) << ' ' << percent << "%\n";
    out->flush();
    ioShown.shown = true;
    ioShown.percent = percent;
    ioShown.text = inMessage.GetText();
    lastLine = inNow;
}

void XProgressPrinter::XState::ShowBar(XShown& ioShown, const XProgressMessage& inMessage,
                                       std::int64_t inNow)
{
    const int percent = inMessage.GetPercent();
    const bool ours = barShown && barID == inMessage.GetProgressID();
    if (inMessage.IsDone())
    {
        if (ours)
        {
            if (percent != ioShown.percent || inMessage.GetText() != ioShown.text)
            {
                DrawBar(inMessage.GetText(), percent);
            }
            EndBar();
        }
        return;
    }
    const bool changed = !ioShown.shown || percent != ioShown.percent ||
                         inMessage.GetText() != ioShown.text || !ours;
    if (!changed || (barShown && inNow - lastDraw < kBarInterval))
    {
        return;
    }
    if (barShown && !ours)
    {
        EndBar(); // another progress keeps its last state on a line of its own
    }
    DrawBar(inMessage.GetText(), percent);
    barShown = true;
    barID = inMessage.GetProgressID();
    lastDraw = inNow;
    ioShown.shown = true;
    ioShown.percent = percent;
    ioShown.text = inMessage.GetText();
}

void XProgressPrinter::XState::DrawBar(const std::string& inText, int inPercent)
{
    const int filled = inPercent * kBarWidth / 100;
    std::string line = Label(inText) + " [" + std::string(static_cast<std::size_t>(filled), '#') +
                       std::string(static_cast<std::size_t>(kBarWidth - filled), '-') + "] ";
    const std::string number = std::to_string(inPercent);
    line += std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + '%';
    // Blank out what is left of a longer previous line.
    const std::size_t blank = barShown && bar.size() > line.size() ? bar.size() - line.size() : 0;
    *out << '\r' << line << std::string(blank, ' ');
    if (blank > 0)
    {
        *out << '\r' << line;
    }
    out->flush();
    bar = line;
}

void XProgressPrinter::XState::EndBar()
{
    *out << '\n';
    out->flush();
    barShown = false;
    bar.clear();
}

void XProgressPrinter::XState::Echo(const std::string& inText)
{
    const std::lock_guard lock(mutex);
    if (!listening)
    {
        return;
    }
    if (barShown)
    {
        // Print the entry over the bar and draw the bar again below it.
        *out << '\r' << std::string(bar.size(), ' ') << '\r' << inText << '\n' << bar;
    }
    else
    {
        *out << inText << '\n';
    }
    out->flush();
}

XProgressPrinter::XProgressPrinter(std::ostream& inOut, XStyle inStyle, XClock inClock)
    : itsState(std::make_shared<XState>())
{
    itsState->out = &inOut;
    itsState->style = inStyle;
    itsState->clock = inClock ? std::move(inClock) : XClock(GetMicroSecondTime);
    Subscribe(XProgressCenter::Get());
    XSessionLogManager::GetManager().SetSink(
        [state = itsState](const XSessionLogManager::XEntry& inEntry)
        { state->Echo(inEntry.text); });
}

XProgressPrinter::~XProgressPrinter()
{
    XSessionLogManager::GetManager().SetSink({});
    UnsubscribeAll();
    const std::lock_guard lock(itsState->mutex);
    itsState->listening = false;
    if (itsState->barShown)
    {
        itsState->EndBar();
    }
}

XProgressPrinter::XStyle XProgressPrinter::GetStyleForStandardError()
{
    return isatty(fileno(stderr)) != 0 ? XStyle::kBar : XStyle::kLines;
}

void XProgressPrinter::HandleMessage(const XMessage& inMessage)
{
    if (const auto* progress = dynamic_cast<const XProgressMessage*>(&inMessage))
    {
        itsState->Show(*progress);
    }
}
