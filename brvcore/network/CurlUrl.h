#pragma once

#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <optional>

// A URL in its parts. libcurl cuts it, so that the host that is checked is the host that is contacted: what it makes of
// "0x7f.1", "%6c%6fcalhost" or "a\@b" is in the parts. Contact the joined URL, not the text that the parts came from. The
// functions are re-entrant.
struct UrlParts
{
    TString scheme;   // lower case
    TString host;     // ASCII, percent-decoded; an IPv6 literal without brackets, a numeric IPv4 host as "a.b.c.d"
    TString zoneId;   // of an IPv6 literal ("eth0", "2"), else empty
    std::uint16_t port = 0;   // as written or the scheme's; 0 when neither says one, which http and https always do
    TString path;             // begins with "/"; "." and ".." are resolved, bytes beyond ASCII percent-encoded
    TString query;            // without "?", encoded as the path; empty when there is none
    bool hasUserInfo = false;
    TString user;       // percent-decoded; keep it and the password out of logs
    TString password;   // percent-decoded
};

// Nothing for what libcurl refuses, for white space and control characters up to U+00A0 anywhere, for a text without a
// host and for the port 0. Nothing for a host beyond ASCII: which one libcurl contacts for it depends on the locale, and for
// full-width digits it may be 127.0.0.1. Such a name has to be in its "xn--" form.
//
// A required scheme has to be http or https. An optional one may be any, and counts as https when it is absent: the text
// may be a bare "host:port/path". A fragment is dropped.
std::optional<UrlParts> ParseUrl(const TString& text, bool isSchemeOptional);

// The URL again, without user name and password, and without a port that is the default of http or https.
TString JoinUrl(const UrlParts& parts);

// A text for a log, whether it is a URL or not: without what stands between "://" (or the beginning) and the last "@".
TString WithoutUserInfo(const TString& text);
