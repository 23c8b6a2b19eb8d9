#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

// A shared handle to an object that is not reference counted itself (the scene): the handle
// owns a holder with an atomically changed 64-bit count, and the holder and the object are
// deleted when the count reaches zero.
template <class T>
class XSharedHandle
{
public:
    XSharedHandle() = default;
    explicit XSharedHandle(std::unique_ptr<T> inObject)
    {
        if (inObject)
        {
            itsHolder = new XHolder{std::move(inObject)};
        }
    }
    XSharedHandle(const XSharedHandle& inOther) : itsHolder(inOther.itsHolder)
    {
        if (itsHolder)
        {
            itsHolder->itsCount.fetch_add(1, std::memory_order_relaxed);
        }
    }
    XSharedHandle(XSharedHandle&& inOther) noexcept
        : itsHolder(std::exchange(inOther.itsHolder, nullptr))
    {
    }
    ~XSharedHandle() { Reset(); }

    XSharedHandle& operator=(XSharedHandle inOther) noexcept
    {
        std::swap(itsHolder, inOther.itsHolder);
        return *this;
    }

    void Reset()
    {
        if (itsHolder && itsHolder->itsCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            delete itsHolder;
        }
        itsHolder = nullptr;
    }

    T* Get() const { return itsHolder ? itsHolder->itsObject.get() : nullptr; }
    T* operator->() const { return Get(); }
    T& operator*() const { return *Get(); }
    explicit operator bool() const { return Get() != nullptr; }
    std::int64_t GetReferenceCount() const
    {
        return itsHolder ? itsHolder->itsCount.load(std::memory_order_acquire) : 0;
    }

private:
    struct XHolder
    {
        std::unique_ptr<T> itsObject;
        std::atomic<std::int64_t> itsCount{1};
    };

    XHolder* itsHolder = nullptr;
};
