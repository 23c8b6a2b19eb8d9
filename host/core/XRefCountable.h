#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

// Shared ownership by an intrusive, atomically changed 64-bit reference count. An object starts
// with a count of 1, owned by whoever created it; the last release deletes it.
class XRefCountable
{
public:
    void AddReference() const { itsReferences.fetch_add(1, std::memory_order_relaxed); }
    void Release() const
    {
        if (itsReferences.fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            delete this;
        }
    }
    std::int64_t GetReferenceCount() const { return itsReferences.load(std::memory_order_acquire); }

protected:
    XRefCountable() = default;
    // A copy is a new object: it starts with its own count of 1.
    XRefCountable(const XRefCountable&) {}
    XRefCountable& operator=(const XRefCountable&) { return *this; }
    virtual ~XRefCountable() = default;

private:
    mutable std::atomic<std::int64_t> itsReferences{1};
};

// A shared handle to an XRefCountable object.
template <class T>
class XRef
{
public:
    XRef() = default;
    XRef(std::nullptr_t) {}
    XRef(const XRef& inOther) : itsObject(inOther.itsObject)
    {
        if (itsObject)
        {
            itsObject->AddReference();
        }
    }
    XRef(XRef&& inOther) noexcept : itsObject(std::exchange(inOther.itsObject, nullptr)) {}
    template <class U>
    XRef(const XRef<U>& inOther) : itsObject(inOther.Get())
    {
        if (itsObject)
        {
            itsObject->AddReference();
        }
    }
    ~XRef()
    {
        if (itsObject)
        {
            itsObject->Release();
        }
    }

    // Takes over the creator's reference of a new object (its count stays 1).
    static XRef Adopt(T* inObject)
    {
        XRef ref;
        ref.itsObject = inObject;
        return ref;
    }

    // Taking the new reference before releasing the old one keeps self-assignment safe.
    XRef& operator=(const XRef& inOther)
    {
        XRef copy(inOther);
        std::swap(itsObject, copy.itsObject);
        return *this;
    }
    XRef& operator=(XRef&& inOther) noexcept
    {
        XRef moved(std::move(inOther));
        std::swap(itsObject, moved.itsObject);
        return *this;
    }

    T* Get() const { return itsObject; }
    T* operator->() const { return itsObject; }
    T& operator*() const { return *itsObject; }
    explicit operator bool() const { return itsObject != nullptr; }
    bool operator==(const XRef& inOther) const = default;

private:
    T* itsObject = nullptr;
};

// Creates a T with its count at 1, held by the returned handle.
template <class T, class... Args>
XRef<T> XMakeRef(Args&&... inArgs)
{
    return XRef<T>::Adopt(new T(std::forward<Args>(inArgs)...));
}
