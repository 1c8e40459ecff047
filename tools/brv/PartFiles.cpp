#include "PartFiles.h"

#include "CsvText.h"
#include "JsonText.h"
#include "OutputForm.h"
#include "Text.h"
#include "TextTable.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/TNetworkMultipartReply.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

using Json = nlohmann::ordered_json;

namespace
{

// A folder inside the target, for parts whose reply is not complete. Whatever is not kept goes with the object.
class PartFolder
{
public:
    explicit PartFolder(const std::string& target) : m_target(target)
    {
        m_isTargetNew = std::filesystem::create_directory(m_target);
        std::string pattern = (m_target / ".parts-XXXXXX").native();
        if (::mkdtemp(pattern.data()) == nullptr)
        {
            const int reason = errno;
            RemoveTarget();
            throw std::system_error(reason, std::generic_category(), "cannot create a folder in " + target);
        }
        m_folder = pattern;
    }
    ~PartFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
        RemoveTarget();
    }
    PartFolder(const PartFolder&) = delete;
    PartFolder& operator=(const PartFolder&) = delete;

    TPath PathOf(const std::string& name) const { return TPath(m_folder / name); }
    void Keep(const std::vector<PartFile>& parts)
    {
        for (const PartFile& part : parts)
            if (std::filesystem::is_directory(m_target / part.name))
                throw std::runtime_error((m_target / part.name).string() + ": cannot be written: Is a directory");
        m_isTargetNew = false;
        for (const PartFile& part : parts)
            std::filesystem::rename(m_folder / part.name, m_target / part.name);
    }

private:
    void RemoveTarget() const
    {
        std::error_code ignored;
        if (m_isTargetNew)
            std::filesystem::remove(m_target, ignored);
    }

    std::filesystem::path m_target;
    std::filesystem::path m_folder;
    bool m_isTargetNew = false;
};

// The line end in front of a boundary is the boundary's (RFC 2046, 5.1.1). Of a CR LF the reply takes the LF alone, so that
// the CR is what is left at the end of the data.
class PartWriter
{
public:
    explicit PartWriter(const TPath& path) : m_file(path, TFileIO::Mode::Truncate) {}

    void Write(std::string_view bytes)
    {
        if (m_isHoldingCR)
            m_file.Write("\r", 1);
        m_isHoldingCR = bytes.ends_with('\r');
        if (m_isHoldingCR)
            bytes.remove_suffix(1);
        m_file.Write(bytes);
    }
    std::uint64_t Finish()
    {
        const std::uint64_t size = m_file.GetPosition();
        m_file.Close();
        return size;
    }

private:
    TFileIO m_file;
    bool m_isHoldingCR = false;
};

std::string PartName(std::size_t number)
{
    constexpr std::size_t kDigits = 3;
    const std::string digits = std::to_string(number);
    return "part-" + std::string(digits.size() < kDigits ? kDigits - digits.size() : 0, '0') + digits + ".bin";
}

std::string HeaderOf(const PartFile& part, const TString& name)
{
    const auto header = part.headers.find(name);
    return header == part.headers.end() ? std::string() : header->second.ToUTF8();
}

std::string ToTable(const std::vector<PartFile>& parts)
{
    TextTable table({"part", "bytes", "type"});
    table.AlignLeft(2);
    for (const PartFile& part : parts)
        table.Add({part.name, std::to_string(part.size), HeaderOf(part, u"content-type")});
    return table.ToText();
}

std::string ToCsv(const std::vector<PartFile>& parts)
{
    std::string text = CsvLine({"part", "bytes", "type"});
    for (const PartFile& part : parts)
        text += CsvLine({part.name, std::to_string(part.size), HeaderOf(part, u"content-type")});
    return text;
}

std::string ToJson(const std::vector<PartFile>& parts, const std::string& folder)
{
    Json list = Json::array();
    for (const PartFile& part : parts)
    {
        Json headers = Json::object();
        for (const auto& [name, value] : part.headers)
            headers[ValidUtf8(name.ToUTF8())] = JsonText(value.ToUTF8());
        list.push_back({{"part", part.name}, {"bytes", part.size}, {"headers", std::move(headers)}});
    }
    return DumpJson({{"folder", JsonText(folder)}, {"parts", std::move(list)}}) + "\n";
}

}   // namespace

std::vector<PartFile> SaveParts(IBufferSource& source, const std::string& folder)
{
    PartFolder files(folder);
    TNetworkMultipartReply reply(source);
    std::vector<PartFile> parts;
    std::vector<char> buffer(TNetworkMultipartReply::kDefaultCapacity);
    while (reply.ConstructNextPart())
    {
        PartFile part;
        part.name = PartName(parts.size() + 1);
        part.headers = reply.GetPartHeaders();
        PartWriter writer(files.PathOf(part.name));
        while (const std::size_t count = reply.ReadFromPart(buffer.data(), buffer.size()))
            writer.Write({buffer.data(), count});
        part.size = writer.Finish();
        parts.push_back(std::move(part));
    }
    files.Keep(parts);
    return parts;
}

std::string ListParts(const std::vector<PartFile>& parts, const FetchOptions& options)
{
    return InForm(
        options.output, [&] { return ToTable(parts); }, [&] { return ToCsv(parts); },
        [&] { return ToJson(parts, options.partsFolder); });
}
