#pragma once

// What the voltrace command returns.
struct XExitCode
{
    static constexpr int kDone = 0;
    // Anything that is not the input's fault, such as a folder that cannot be written.
    static constexpr int kFailure = 1;
    // Bad arguments, or a stack or scene file that cannot be read.
    static constexpr int kBadInput = 2;
    // Stopped by Ctrl-C (128 + SIGINT, as shells report it).
    static constexpr int kInterrupted = 130;
};
