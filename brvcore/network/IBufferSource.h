#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <string>

// Bytes that arrive piece by piece, for one reader. A reader of multipart replies stands on this alone.
class BRV_EXPORT IBufferSource
{
public:
    virtual ~IBufferSource();

    // Waits for the next piece. False at the end of the data, again and again. A failure of the producer is thrown after
    // the data that arrived before it. A piece is never empty.
    virtual bool GetNextBuffer(std::string& buffer) = 0;
    // The most bytes that a piece holds.
    virtual std::size_t GetBufferSize() const noexcept = 0;
};
