#pragma once

#include "brvcore/foundation/TPath.h"

// Sets libcurl up for this process, with OpenSSL for its TLS; the first call does it, all others find it done. A host that
// has set libcurl up before is fine when it did so with OpenSSL. Throws CurlException "Curl: Failed to set SSL/TLS backend".
void SetUpCurl();

// Throws NetworkException, with the path and the reason, unless the file (PEM) holds a certificate and, without a
// passphrase, the private key that belongs to it. libcurl would find out during a handshake only, and OpenSSL would ask
// the terminal for the passphrase. An expired certificate is logged as a warning: the server has the last word.
void CheckClientCertificate(const TPath& file);
