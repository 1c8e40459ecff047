#include "brvcore/foundation/TIO.h"
#include "brvcore/network/BulkHTTPRequestor.h"
#include "brvcore/network/FileHTTPRequestor.h"
#include "brvcore/network/StringHTTPRequestor.h"
#include "brvcore/network/TNetworkAccessManager.h"
#include "brvcore/network/TNetworkReply.h"
#include "brvcore/network/TNetworkRequest.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// Transfers of the requestors beside the plain libcurl code that a program would write instead, in turns, from an nginx
// of our own on loopback. The figures are processor time of this process (user and system), as the wall clock sees the
// server too:
//   ratio          requestor / libcurl with its defaults
//   ratio_tuned    requestor / libcurl with a receive buffer of 512 KiB
//   against_tool   10,000 GETs: wall clock of the requestors / that of the curl tool for the same, start included
namespace
{

namespace fs = std::filesystem;

constexpr std::uint64_t kLarge = std::uint64_t{1} << 30;
constexpr int kGets = 10'000;
constexpr long kTunedBuffer = 512L * 1024;
constexpr const char* kNginx = "/usr/sbin/nginx";
constexpr const char* kCurlTool = "/usr/bin/curl";

double ProcessorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t)
    { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double WallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

template <class Clock, class Work> double Measure(const Clock& clock, const Work& work)
{
    const double begin = clock();
    work();
    return clock() - begin;
}

int Spawn(std::vector<std::string> words)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int process = fork();
    if (process != 0)
        return process;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execv(arguments[0], arguments.data());
    _exit(127);
}

// One process of nginx: a sparse file of 1 GiB as /large, 100 bytes as /small. Its files are in memory where possible.
class Nginx
{
public:
    static const Nginx* Instance()
    {
        static const std::unique_ptr<Nginx> nginx(access(kNginx, X_OK) == 0 ? new Nginx : nullptr);
        return nginx.get();
    }

    Nginx()
    {
        std::string folder =
            (fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string()) + "/brvbenchXXXXXX";
        if (mkdtemp(folder.data()) == nullptr)
            throw std::runtime_error("no folder for nginx");
        m_folder = folder;
        std::ofstream(m_folder / "large").close();
        fs::resize_file(m_folder / "large", kLarge);
        std::ofstream(m_folder / "small") << std::string(100, 'x');
        m_port = FreePort();
        std::ofstream conf(m_folder / "nginx.conf");
        conf << "daemon off; master_process off; pid " << folder << "/pid; error_log " << folder << "/error;\n"
             << "events { worker_connections 64; }\n"
             << "http { access_log off; sendfile on; tcp_nopush on; keepalive_requests 100000000; root " << folder
             << ";\n";
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
            conf << kind << "_temp_path " << folder << "/" << kind << ";\n";
        conf << "server { listen 127.0.0.1:" << m_port << "; } }\n";
        conf.close();
        m_process = Spawn({kNginx, "-e", folder + "/error", "-p", folder, "-c", folder + "/nginx.conf"});
        for (int i = 0; !Answers(); ++i)
        {
            if (i == 500)
                throw std::runtime_error("nginx does not answer, see " + folder + "/error");
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    ~Nginx()
    {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    std::string Url(const char* path) const { return "http://127.0.0.1:" + std::to_string(m_port) + path; }
    const fs::path& GetFolder() const { return m_folder; }

private:
    static sockaddr_in Address(std::uint16_t port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    static std::uint16_t FreePort()
    {
        const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = Address(0);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        const bool isBound = bind(descriptor, generic, size) == 0 && getsockname(descriptor, generic, &size) == 0;
        close(descriptor);
        if (!isBound)
            throw std::runtime_error("no free port");
        return ntohs(address.sin_port);
    }

    bool Answers() const
    {
        const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = Address(m_port);
        const bool answers = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(descriptor);
        return answers;
    }

    fs::path m_folder;
    std::uint16_t m_port = 0;
    int m_process = -1;
};

// --- Plain libcurl --------------------------------------------------------------------------------------------------------

class PlainCurl
{
public:
    using Write = std::size_t (*)(char*, std::size_t, std::size_t, void*);

    PlainCurl(const std::string& url, Write write, void* target, long bufferSize) : m_curl(curl_easy_init())
    {
        curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(m_curl, CURLOPT_PROXY, "");
        curl_easy_setopt(m_curl, CURLOPT_USERAGENT,   // of the usual length, since the requestors say who they are
            "Brevion Command Line 0.1.0; Linux 6.1.0-18-amd64; libcurl-client; 64-bit; en; standard;");
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, write);
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, target);
        if (bufferSize != 0)
            curl_easy_setopt(m_curl, CURLOPT_BUFFERSIZE, bufferSize);
    }
    ~PlainCurl() { curl_easy_cleanup(m_curl); }
    PlainCurl(const PlainCurl&) = delete;
    PlainCurl& operator=(const PlainCurl&) = delete;

    void Perform()
    {
        const CURLcode code = curl_easy_perform(m_curl);
        if (code != CURLE_OK)
            throw std::runtime_error(curl_easy_strerror(code));
    }

private:
    CURL* m_curl;
};

std::size_t AppendToString(char* data, std::size_t, std::size_t size, void* target)
{
    static_cast<std::string*>(target)->append(data, size);
    return size;
}

std::size_t WriteToFile(char* data, std::size_t, std::size_t size, void* target)
{
    return std::fwrite(data, 1, size, static_cast<std::FILE*>(target));
}

std::size_t CountBytes(char*, std::size_t, std::size_t size, void* target)
{
    *static_cast<std::uint64_t*>(target) += size;
    return size;
}

void Check(std::uint64_t size)
{
    if (size != kLarge)
        throw std::runtime_error("bytes are missing");
}

void PlainToString(const Nginx& nginx, long bufferSize)
{
    std::string body;
    PlainCurl(nginx.Url("/large"), AppendToString, &body, bufferSize).Perform();
    Check(body.size());
}

void PlainToFile(const Nginx& nginx, long bufferSize)
{
    const fs::path path = nginx.GetFolder() / "plain";
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    PlainCurl(nginx.Url("/large"), WriteToFile, file, bufferSize).Perform();
    std::fclose(file);
    Check(fs::file_size(path));
    fs::remove(path);
}

void PlainToNowhere(const Nginx& nginx, long bufferSize)
{
    std::uint64_t size = 0;
    PlainCurl(nginx.Url("/large"), CountBytes, &size, bufferSize).Perform();
    Check(size);
}

// --- The requestors ---------------------------------------------------------------------------------------------------------

TString LargeUrl(const Nginx& nginx)
{
    return TString::FromUTF8(nginx.Url("/large"));
}

void ToStdString(const Nginx& nginx)
{
    Check(StdStringHTTPRequestor(LargeUrl(nginx), u"GET").GetResult(false).size());
}

void ToRandomIO(const Nginx& nginx)
{
    const TPath path(nginx.GetFolder() / "binary");
    Check(BinaryHTTPRequestor(LargeUrl(nginx), u"GET", std::make_shared<TFileIO>(path, TFileIO::Mode::Truncate))
              .ProcessFile());
    fs::remove(path.GetNative());
}

void ToFile(const Nginx& nginx)
{
    const TPath path(nginx.GetFolder() / "file");
    Check(FileHTTPRequestor(LargeUrl(nginx), u"GET", path).ProcessFile());
    fs::remove(path.GetNative());
}

void ToQueue(const Nginx& nginx)
{
    BulkHTTPRequestor requestor(LargeUrl(nginx), u"GET");
    std::uint64_t size = 0;
    for (std::string buffer; requestor.GetNextBuffer(buffer);)
        size += buffer.size();
    Check(size);
}

const Nginx* NginxOrSkip(benchmark::State& state)
{
    const Nginx* const nginx = Nginx::Instance();
    if (nginx == nullptr)
        state.SkipWithError("needs nginx: apt-get install nginx-light");
    return nginx;
}

// 1 GiB. The time of an iteration is the processor time of the requestor.
void BM_Download(benchmark::State& state, void (*requestor)(const Nginx&), void (*plain)(const Nginx&, long))
{
    const Nginx* const nginx = NginxOrSkip(state);
    if (nginx == nullptr)
        return;
    double own = 0;
    double defaults = 0;
    double tuned = 0;
    requestor(*nginx);   // the first one of a process pays for memory, libcurl and the file's pages
    plain(*nginx, 0);
    for (auto _ : state)
    {
        const double seconds = Measure(ProcessorSeconds, [&] { requestor(*nginx); });
        own += seconds;
        defaults += Measure(ProcessorSeconds, [&] { plain(*nginx, 0); });
        tuned += Measure(ProcessorSeconds, [&] { plain(*nginx, kTunedBuffer); });
        state.SetIterationTime(seconds);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLarge));
    state.counters["ratio"] = own / defaults;
    state.counters["ratio_tuned"] = own / tuned;
}
// clang-format off
BENCHMARK_CAPTURE(BM_Download, StdString, ToStdString, PlainToString)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Download, RandomIO, ToRandomIO, PlainToFile)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Download, File, ToFile, PlainToFile)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Download, Bulk, ToQueue, PlainToNowhere)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
// clang-format on

void GetByRequestors(const Nginx& nginx)
{
    const TString url = TString::FromUTF8(nginx.Url("/small"));
    for (int i = 0; i < kGets; ++i)
        if (StdStringHTTPRequestor(url, u"GET").GetResult(false).size() != 100)
            throw std::runtime_error("bytes are missing");
}

struct StringSink : IBodySink
{
    void Write(const char* data, std::size_t size) override { bytes.append(data, size); }
    void Rewind() override { bytes.clear(); }
    std::string bytes;
};

void GetByManager(const Nginx& nginx)
{
    TNetworkAccessManager manager;
    TNetworkRequest request;
    request.url = TString::FromUTF8(nginx.Url("/small"));
    request.verb = "GET";
    for (int i = 0; i < kGets; ++i)
    {
        StringSink sink;
        TNetworkReply reply(&sink);
        manager.Execute(request, reply);
    }
}

void GetByPlainCurl(const Nginx& nginx)
{
    std::string body;
    PlainCurl curl(nginx.Url("/small"), AppendToString, &body, 0);
    for (int i = 0; i < kGets; ++i)
    {
        body.clear();
        curl.Perform();
    }
}

void GetByCurlTool(const Nginx& nginx)
{
    int status = 0;
    const std::string urls = nginx.Url("/small?[1-") + std::to_string(kGets) + "]";
    waitpid(Spawn({kCurlTool, "-q", "-s", "--noproxy", "*", "-o", "/dev/null", urls}), &status, 0);
    if (status != 0)
        throw std::runtime_error("the curl tool failed");
}

// 10,000 keep-alive GETs of 100 bytes.
void BM_Gets(benchmark::State& state, void (*gets)(const Nginx&))
{
    const Nginx* const nginx = NginxOrSkip(state);
    if (nginx == nullptr)
        return;
    const bool hasTool = access(kCurlTool, X_OK) == 0;
    double own = 0;
    double plain = 0;
    double ownWall = 0;
    double toolWall = 0;
    gets(*nginx);
    for (auto _ : state)
    {
        const double before = ProcessorSeconds();
        ownWall += Measure(WallSeconds, [&] { gets(*nginx); });
        const double seconds = ProcessorSeconds() - before;
        own += seconds;
        plain += Measure(ProcessorSeconds, [&] { GetByPlainCurl(*nginx); });
        if (hasTool)
            toolWall += Measure(WallSeconds, [&] { GetByCurlTool(*nginx); });
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * kGets);
    state.counters["ratio"] = own / plain;
    if (hasTool)
        state.counters["against_tool"] = ownWall / toolWall;
}
// clang-format off
BENCHMARK_CAPTURE(BM_Gets, StdString, GetByRequestors)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Gets, Manager, GetByManager)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
// clang-format on

}   // namespace
