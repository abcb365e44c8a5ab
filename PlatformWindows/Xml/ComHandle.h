// An owning handle of one COM object.
#pragma once

#include <utility>

namespace scankelv
{

/// Copying adds a reference, dropping releases one.
template <class Interface>
class ComHandle
{
public:
    ComHandle() noexcept = default;
    ComHandle(const ComHandle& other) noexcept : m_object(other.m_object)
    {
        if (m_object != nullptr)
            m_object->AddRef();
    }
    ComHandle(ComHandle&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComHandle& operator=(ComHandle other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComHandle()
    {
        if (m_object != nullptr)
            m_object->Release();
    }

    /// Drops what is held; the slot is for a function that hands out a reference.
    Interface** Receive() noexcept
    {
        *this = ComHandle();
        return &m_object;
    }
    Interface* Get() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    Interface* m_object = nullptr;
};

} // namespace scankelv
