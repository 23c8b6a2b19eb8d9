#pragma once

// Thrown by XThread::TestCancelCurrentThread when the current thread has been asked to stop.
// Deliberately not a std::exception, so that `catch (const std::exception&)` in the code being
// unwound does not swallow it; whoever runs the thread or the job catches it by name.
class XThreadCancelled final
{
};
