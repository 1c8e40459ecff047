#pragma once

#include "Options.h"
#include "brvcore/network/IBufferSource.h"
#include "brvcore/network/MultipartSubpartHeader.h"

#include <cstdint>
#include <string>
#include <vector>

struct PartFile
{
    std::string name;   // "part-001.bin"
    std::uint64_t size = 0;
    HeaderBase::Headers headers;
};

// Reads a multipart reply and writes the data of each part to a file of the folder, which is made when it is missing. The
// files appear together when the reply is complete: on failure the folder is as it was. They are numbered, as a server's
// names must not choose what is written here. Throws what the reply throws, and std::system_error.
std::vector<PartFile> SaveParts(IBufferSource& source, const std::string& folder);

std::string ListParts(const std::vector<PartFile>& parts, const FetchOptions& options);
