#pragma once

#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// A real HTTP server on 127.0.0.1 (loopback_server.py: aiohttp, and bare sockets for what a proper server cannot
// produce), started by the first Instance() and ended with the test program. Throws std::runtime_error when it does not start.
//
//     const LoopbackServer& server = LoopbackServer::Instance();
//     StdStringHTTPRequestor requestor(server.Http("/bytes?n=1000"), u"GET");
//
// Ports, by the name that Url() and GetPort() take:
//   http, https         well-formed replies; the certificate of https is for "localhost" and 127.0.0.1, signed by GetCAFile()
//   https_expired, https_wrong_host   signed by GetCAFile(), for 127.0.0.1 until yesterday, and for "other.example"
//   https_self_signed   by an authority that no one trusts
//   https_client        asks for a client certificate: GetClientCertificate()
//   fault, fault_tls    broken replies, see below
//   silent, silent_tls  accepts and never says a word: a reply, or a TLS handshake, that does not come
//   refused             no one listens
//   black_hole          listens, but connections are never established
//   proxy, proxy_refusing, proxy_auth   HTTP proxies (CONNECT and plain): any request; 403; 407 without user:password
//   socks               SOCKS 5 without authentication
//
// The body of /bytes and its like is the pattern PatternByte(i). JSON replies have no blanks and sorted keys, names of
// headers are lower-case: look for pieces such as R"(["x-a","1"])" or R"("method":"PUT")". Any verb does. With ?key=NAME any
// path counts its requests; keys are shared by all ports, and by all tests of a program: choose one of your own.
//   /bytes?n=           n bytes; &chunked=1, &piece=BYTES at a time with &pause=MS between, &hang_after=BYTES sends
//                       so many and then nothing, &status=
//   /echo               {"body","headers":[[name,value]],"method","path","query":[[name,value]],"raw_query"}; the body's bytes
//                       as characters U+0000 to U+00FF; ?status=
//   /echo-form          urlencoded: {"fields":[[name,value]]}; multipart: {"content_type","parts":[{"filename","headers","name",
//                       "sha256","size","text"}]}, "text" up to 4096 bytes, as read by aiohttp
//   /take               reads a body of any size: {"content_length","is_pattern","method","sha256","size"}; ?pause=MS after each 64 KiB
//   /refuse-body        413 and the end of the connection, without reading the body
//   /status/NNN         that status, ?body= ("status NNN"), ?location=; ?key=K&times=N&then=200: only for the first N requests
//   /redirect?to=&code=302&n=1   n redirects, the last to `to` ("/echo")
//   /redirect-loop      counts under "redirect_loop"
//   /auth/basic, /auth/digest, /auth/bearer   ?user=, ?password= ("user", "password"), ?algorithm=MD5 or SHA-256, ?token= ("token")
//   /cookie/set?name=&value=, /cookie/get     the latter answers {name:value}
//   /gzip, /deflate     ?n= (100000) bytes, packed; ?cut= bytes missing at the end of the packed ones, with a length to match
//   /encoding?label=&body=   Content-Encoding `label` (none when empty) around a body of "gzip", "deflate" or "none"; ?n=, ?cut=
//   /multipart          by aiohttp's MultipartWriter: ?parts=3 of ?size=1000 bytes with Content-Type and X-Part: k, part k holds
//                       PatternByte(k + i); ?subtype=mixed, ?boundary=Loop-Back, ?cut=, ?piece=, ?pause=, ?status=
//   /charset?text=&codec=utf-8&name=   the text's bytes in Python's codec; `name` in the content type (the codec's), or type=
//   /hang?ms=           answers after so long; never without ms
//   /counter?of=KEY     the number of requests with that key, as text
//   /connections        {"open","this","total"}: of this port; "this" is the number of the connection that asks
//
// Of the fault ports, ?n=100000 bytes of body, ?key= as above:
//   /reset-mid-body, /truncate (half of the length), /truncate-chunked, /truncate-gzip (chunking is whole), /bad-chunk,
//   /cut-head, /cut-status-line, /garbage, /empty, /huge-header?size=1048576, /many-headers?count=100000,
//   /slow-headers?pause=100 (ms per byte), /no-answer, /two-lengths, /negative-length,
//   /raw?text= (the whole reply, its bytes as characters U+0000 to U+00FF, then the end of the connection),
//   /no-length and /http10 (well-formed: the end of the connection is the end of the body)
// Requests that a proxy carried are counted under the name of its port.
class LoopbackServer
{
public:
    // Safe from any thread.
    static const LoopbackServer& Instance();

    // "http://127.0.0.1:PORT/path", with "https" for https... and ..._tls. The path begins with "/".
    TString Url(std::string_view port, std::string_view path) const;
    TString Http(std::string_view path) const { return Url("http", path); }
    TString Https(std::string_view path) const { return Url("https", path); }
    TString Fault(std::string_view path) const { return Url("fault", path); }
    std::uint16_t GetPort(std::string_view port) const;

    TPath GetCAFile() const { return TPath(std::filesystem::path(Get("ca_file"))); }
    TPath GetClientCertificate() const { return TPath(std::filesystem::path(Get("client_certificate"))); }

    static char PatternByte(std::uint64_t position) noexcept
    {
        return static_cast<char>(static_cast<unsigned char>(position % 251));
    }
    static std::string Pattern(std::uint64_t start, std::size_t size);

    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

private:
    LoopbackServer();
    ~LoopbackServer();
    const std::string& Get(std::string_view name) const;

    int m_process = -1;
    int m_input = -1;   // its end ends the server, so a test program that dies in whatever way leaves none behind
    std::map<std::string, std::string, std::less<>> m_values;
};
