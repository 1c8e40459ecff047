#include "tests/support/LoopbackServer.h"

#include <array>
#include <cerrno>
#include <functional>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// Up to the end of the line that tells of a server that is ready.
std::string ReadLine(int descriptor)
{
    std::string line;
    for (char byte = 0;;)
    {
        const ssize_t size = read(descriptor, &byte, 1);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0 || byte == '\n')
            return line;
        line += byte;
    }
}

}   // namespace

const LoopbackServer& LoopbackServer::Instance()
{
    static const LoopbackServer server;
    return server;
}

LoopbackServer::LoopbackServer()
{
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe for the loopback server");
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    // -I: Python's variables of the environment do not count. -B: nothing is written beside the sources.
    std::array<std::string, 4> words{BRV_TEST_PYTHON, "-I", "-B", BRV_TEST_LOOPBACK_SERVER};
    std::array<char*, 5> arguments{words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    const int failure = posix_spawn(&m_process, BRV_TEST_PYTHON, &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    m_input = input[1];
    const std::string line = failure == 0 ? ReadLine(output[0]) : std::string();
    close(output[0]);

    std::istringstream entries(line);
    for (std::string entry; std::getline(entries, entry, '\t');)
        m_values[entry.substr(0, entry.find('='))] = entry.substr(entry.find('=') + 1);
    if (m_values.find("refused") == m_values.end())   // the last one
        throw std::runtime_error("the loopback server did not start: " BRV_TEST_PYTHON " " BRV_TEST_LOOPBACK_SERVER);
}

LoopbackServer::~LoopbackServer()
{
    close(m_input);
    int status = 0;
    while (waitpid(m_process, &status, 0) < 0 && errno == EINTR)
    {
    }
}

TString LoopbackServer::Url(std::string_view port, std::string_view path) const
{
    const bool isTls = port.starts_with("https") || port.ends_with("_tls");
    return TString::FromUTF8(std::string(isTls ? "https" : "http") + "://127.0.0.1:" + Get(port) + std::string(path));
}

std::uint16_t LoopbackServer::GetPort(std::string_view port) const
{
    return static_cast<std::uint16_t>(std::stoi(Get(port)));
}

std::string LoopbackServer::Pattern(std::uint64_t start, std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = PatternByte(start + i);
    return bytes;
}

const std::string& LoopbackServer::Get(std::string_view name) const
{
    const auto found = m_values.find(name);
    if (found == m_values.end())
        throw std::runtime_error("the loopback server has no " + std::string(name));
    return found->second;
}
