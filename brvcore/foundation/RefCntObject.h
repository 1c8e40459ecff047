#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/LogicException.h"

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

// Base of objects that live as long as a RefCntPtr points to them. The count is atomic, so references may be taken and
// dropped on any thread; the object itself is as thread-safe as its class says. A copy of an object starts unreferenced.
class BRV_EXPORT RefCntObject
{
public:
    void AddRef() const noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
    void Release() const noexcept
    {
        if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    std::uint32_t GetRefCount() const noexcept { return m_refs.load(std::memory_order_relaxed); }

protected:
    RefCntObject() noexcept = default;
    RefCntObject(const RefCntObject&) noexcept {}
    RefCntObject& operator=(const RefCntObject&) noexcept { return *this; }
    virtual ~RefCntObject();

private:
    mutable std::atomic<std::uint32_t> m_refs{0};
};

// Shares ownership of a RefCntObject. Dereferencing null throws LogicException 0x5B1E7C02 "pointer != nullptr", in release
// builds too; Get() returns null without a check.
template <class T> class RefCntPtr
{
public:
    RefCntPtr() noexcept = default;
    RefCntPtr(std::nullptr_t) noexcept {}
    explicit RefCntPtr(T* object) noexcept : m_object(object)
    {
        if (m_object != nullptr)
            m_object->AddRef();
    }
    RefCntPtr(const RefCntPtr& other) noexcept : RefCntPtr(other.m_object) {}
    RefCntPtr(RefCntPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> RefCntPtr(const RefCntPtr<U>& other)
    noexcept : RefCntPtr(static_cast<T*>(other.Get())) {}
    ~RefCntPtr()
    {
        if (m_object != nullptr)
            m_object->Release();
    }
    RefCntPtr& operator=(RefCntPtr other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* Get() const noexcept { return m_object; }
    T& operator*() const { return *Checked(m_object); }
    T* operator->() const { return Checked(m_object); }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    // Pointer identity, not the objects' values.
    friend bool operator==(const RefCntPtr& a, const RefCntPtr& b) noexcept { return a.m_object == b.m_object; }
    friend bool operator==(const RefCntPtr& a, std::nullptr_t) noexcept { return a.m_object == nullptr; }

private:
    static T* Checked(T* pointer)
    {
        BRV_LOGIC_ASSERT(0x5B1E7C02, pointer != nullptr);
        return pointer;
    }

    T* m_object = nullptr;
};

template <class T, class... Args> RefCntPtr<T> MakeRefCnt(Args&&... args)
{
    return RefCntPtr<T>(new T(std::forward<Args>(args)...));
}
