#pragma once

#include "brvcore/network/IBufferSource.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// A body in pieces whose sizes the caller chooses, and what happens after the last one.
class PieceSource : public IBufferSource
{
public:
    using NextSize = std::function<std::size_t()>;

    // Pieces have at least one byte and at most bufferSize.
    PieceSource(std::string_view body, std::size_t bufferSize, NextSize nextSize, std::exception_ptr failure = nullptr)
        : m_body(body), m_bufferSize(bufferSize), m_nextSize(std::move(nextSize)), m_failure(std::move(failure))
    {
    }

    bool GetNextBuffer(std::string& buffer) override
    {
        if (m_body.empty())
        {
            if (m_failure)
                std::rethrow_exception(std::exchange(m_failure, nullptr));   // once: who asks again gets the end
            return false;
        }
        const std::size_t size = std::clamp<std::size_t>(m_nextSize(), 1, std::min(m_bufferSize, m_body.size()));
        buffer.assign(m_body.substr(0, size));
        m_body.remove_prefix(size);
        return true;
    }
    std::size_t GetBufferSize() const noexcept override { return m_bufferSize; }
    std::size_t GetSizeLeft() const noexcept { return m_body.size(); }

private:
    std::string_view m_body;
    std::size_t m_bufferSize;
    NextSize m_nextSize;
    std::exception_ptr m_failure;
};
