#include "apps/XProgressPrinter.h"

#include "host/core/XProgress.h"
#include "host/core/XSessionLog.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace
{
// A clock the test moves by hand, in microseconds.
struct XFakeClock
{
    std::int64_t now = 1000000;
    XProgressPrinter::XClock Get()
    {
        return [this] { return now; };
    }
};

std::vector<std::string> LinesOf(const std::string& inText)
{
    std::vector<std::string> lines;
    std::istringstream stream(inText);
    std::string line;
    while (std::getline(stream, line))
    {
        lines.push_back(line);
    }
    return lines;
}
} // namespace

TEST(XProgressPrinterTest, LinesComeOncePerTenthAndNeverTooClose)
{
    std::ostringstream out;
    XFakeClock clock;
    {
        XProgressPrinter printer(out, XProgressPrinter::XStyle::kLines, clock.Get());
        XProgress progress(100, 3, 0);
        progress.SetMessage("Rendering");
        for (int step = 1; step <= 100; ++step)
        {
            clock.now += 10000; // every percent 10 ms later
            progress.Increment();
        }
    }
    // Each tenth would be news, but lines are at least 250 ms apart; the last line already
    // says 100 %, so the end adds none.
    EXPECT_EQ(LinesOf(out.str()),
              (std::vector<std::string>{"Rendering 0%", "Rendering 25%", "Rendering 50%",
                                        "Rendering 75%", "Rendering 100%"}));
    EXPECT_EQ(out.str().find('\r'), std::string::npos);

    // Slowly enough for a line at every percent, yet one comes only with each new tenth.
    out.str("");
    {
        XProgressPrinter printer(out, XProgressPrinter::XStyle::kLines, clock.Get());
        XProgress progress(100, 3, 0);
        progress.SetMessage("Copying");
        for (int step = 1; step <= 25; ++step)
        {
            clock.now += 300000;
            progress.Increment();
        }
    }
    EXPECT_EQ(LinesOf(out.str()),
              (std::vector<std::string>{"Copying 0%", "Copying 10%", "Copying 20%",
                                        "Copying 25% (stopped)"}));
}

TEST(XProgressPrinterTest, TheEndAlwaysGetsItsLineAndAStopIsSaid)
{
    std::ostringstream out;
    XFakeClock clock;
    XProgressPrinter printer(out, XProgressPrinter::XStyle::kLines, clock.Get());
    {
        XProgress fast(10, 3, 0);
        fast.SetMessage("Copying");
        fast.Increment(10); // all at the same moment
    }
    clock.now += 1000000;
    {
        XProgress stopped(100, 3, 0);
        stopped.SetMessage("Rendering");
        clock.now += 1000000;
        stopped.Increment(45);
        clock.now += 100000; // too soon for another line
        stopped.Increment(1);
        // A new text is news even within the same tenth.
        clock.now += 300000;
        stopped.SetMessage("Rendering pass 2");
    }
    EXPECT_EQ(LinesOf(out.str()),
              (std::vector<std::string>{"Copying 0%", "Copying 100%", "Rendering 0%",
                                        "Rendering 45%", "Rendering pass 2 46%",
                                        // 46 % was shown already; the end says it stopped.
                                        "Rendering pass 2 46% (stopped)"}));
}

TEST(XProgressPrinterTest, AProgressShowsOnlyAfterItsDelay)
{
    std::ostringstream out;
    XFakeClock clock;
    XProgressPrinter printer(out, XProgressPrinter::XStyle::kLines, clock.Get());
    {
        XProgress quick(10, 3, 2000);
        quick.SetMessage("Quick");
        for (int step = 0; step < 10; ++step)
        {
            clock.now += 150000; // 1.5 s in all
            quick.Increment();
        }
    }
    EXPECT_EQ(out.str(), "");
    {
        XProgress slow(10, 3, 2000);
        slow.SetMessage("Slow");
        for (int step = 0; step < 10; ++step)
        {
            clock.now += 500000;
            slow.Increment();
        }
    }
    // Shown from 2 s on, at 40 %.
    EXPECT_EQ(LinesOf(out.str()),
              (std::vector<std::string>{"Slow 40%", "Slow 50%", "Slow 60%", "Slow 70%", "Slow 80%",
                                        "Slow 90%", "Slow 100%"}));
}

TEST(XProgressPrinterTest, SessionLogEntriesAreEchoedWhileThePrinterLives)
{
    std::ostringstream out;
    XFakeClock clock;
    {
        XProgressPrinter printer(out, XProgressPrinter::XStyle::kLines, clock.Get());
        XSessionLogManager::GetManager().AddEntry("Frame took 1.23 seconds");
    }
    XSessionLogManager::GetManager().AddEntry("Frame took 4.56 seconds");
    EXPECT_EQ(out.str(), "Frame took 1.23 seconds\n");
}

TEST(XProgressPrinterTest, TheBarRedrawsOneLineAndMakesRoomForLogEntries)
{
    std::ostringstream out;
    XFakeClock clock;
    {
        XProgressPrinter printer(out, XProgressPrinter::XStyle::kBar, clock.Get());
        XProgress progress(100, 3, 0);
        progress.SetMessage("Rendering");
        clock.now += 200000;
        progress.Increment(45);
        clock.now += 1000; // redraws are at least 100 ms apart
        progress.Increment(1);
        const std::string bar = "Rendering [#############-----------------]  45%";
        EXPECT_EQ(out.str(), "\rRendering [------------------------------]   0%\r" + bar);

        out.str("");
        XSessionLogManager::GetManager().AddEntry("Frame took 1.23 seconds");
        EXPECT_EQ(out.str(),
                  "\r" + std::string(bar.size(), ' ') + "\rFrame took 1.23 seconds\n" + bar);

        out.str("");
        clock.now += 200000;
        progress.Increment(53);
        clock.now += 1000;
        progress.Increment(1);
    }
    // The end draws the last state and closes the line.
    EXPECT_EQ(out.str(), "\rRendering [#############################-]  99%"
                         "\rRendering [##############################] 100%\n");
}
