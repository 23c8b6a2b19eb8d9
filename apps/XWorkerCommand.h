#pragma once

#include "apps/XRedisOptions.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <ostream>

namespace CLI
{
class App;
} // namespace CLI

// What `voltrace worker` is asked to do.
struct XWorkerRequest
{
    XRedisOptions redis;
    std::filesystem::path module; // empty: found beside the program
    std::uint32_t threads = 0;    // 0: one per core
    std::uint32_t reclaimMilliseconds = 5000;
    std::string name;
    std::uint32_t holdMilliseconds = 0; // for tests: wait inside each job before running it
};

// Loads the renderer module (for its classes) and serves the farm until Ctrl-C or SIGTERM
// (exit 0 after the running jobs have been stopped and left for other workers) or until the
// server goes away or refuses us (exit 1, with the reason on outErrors). A bad address gives
// kBadInput.
int RunWorker(const XWorkerRequest& inRequest, std::ostream& outErrors);

// Adds `worker --redis URL [--threads N] [--reclaim-ms MS] [--name NAME] [--module LIB]`.
void XAddWorkerCommand(CLI::App& inApp, int& outExitCode);
