#pragma once

#include <string>
#include <string_view>
#include <vector>

// Reports of broken invariants. A report names the failing condition, the source it was found in
// ("x-platform/XFilm") and the line; it goes to the session log and standard error, raises a
// break-point trap first when a debugger is attached, and then execution goes on.
struct XInternalErrorReport
{
    std::string condition;
    std::string source;
    int line = 0;
};

void XReportInternalError(std::string_view inCondition, std::string_view inSource, int inLine);

// While one of these lives, reports are collected here instead of going to standard error and
// the debugger (they still reach the session log). Tests use it to assert exact condition texts.
class XInternalErrorCapture
{
public:
    XInternalErrorCapture();
    ~XInternalErrorCapture();
    XInternalErrorCapture(const XInternalErrorCapture&) = delete;
    XInternalErrorCapture& operator=(const XInternalErrorCapture&) = delete;

    std::vector<XInternalErrorReport> GetReports() const;
    std::vector<std::string> GetConditions() const;
};

// Each source file that reports names itself once, near its top:
//     X_SOURCE_NAME("x-platform/XFilm");
#define X_SOURCE_NAME(name)                                                                        \
    namespace                                                                                      \
    {                                                                                              \
    [[maybe_unused]] constexpr std::string_view kXSourceName = name;                               \
    }

// Reports the condition's own text when it does not hold; never aborts.
#define X_ASSERT(condition)                                                                        \
    do                                                                                             \
    {                                                                                              \
        if (!(condition))                                                                          \
        {                                                                                          \
            XReportInternalError(#condition, kXSourceName, __LINE__);                              \
        }                                                                                          \
    } while (false)
