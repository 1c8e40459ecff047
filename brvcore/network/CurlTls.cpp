#include "brvcore/network/CurlTls.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/network/CurlErrors.h"

#include <memory>
#include <mutex>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace
{

struct OpenSslDeleter
{
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }
    void operator()(X509* certificate) const noexcept { X509_free(certificate); }
    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
};
template <class T> using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter>;

bool IsCurlOnOpenSsl()
{
    const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
    // Back ends that are built in but not in use stand in parentheses: "(GnuTLS/3.7.9) OpenSSL/3.0.9".
    std::string_view active = info->ssl_version != nullptr ? info->ssl_version : "";
    if (const std::size_t parenthesis = active.rfind(") "); parenthesis != std::string_view::npos)
        active.remove_prefix(parenthesis + 2);
    return active.starts_with("OpenSSL/");
}

// Answers that there is no passphrase, where OpenSSL's own would ask the terminal.
int RefusePassphrase(char*, int, int, void*)
{
    return -1;
}

[[noreturn]] void ThrowBadCertificate(const TPath& file, const char16_t* reason)
{
    ERR_clear_error();
    throw MakeNetworkException(TFormatString(u"Client certificate '%1': %2").arg(file.ToText()).arg(reason).result());
}

OpenSslPtr<BIO> OpenFile(const TPath& file)
{
    OpenSslPtr<BIO> bio(BIO_new_file(file.GetNative().c_str(), "r"));
    if (!bio)
        ThrowBadCertificate(file, u"the file cannot be opened");
    return bio;
}

}   // namespace

void SetUpCurl()
{
    static std::once_flag once;
    std::call_once(once,
        []
        {
            const CURLsslset chosen = curl_global_sslset(CURLSSLBACKEND_OPENSSL, nullptr, nullptr);
            if (chosen != CURLSSLSET_TOO_LATE || !IsCurlOnOpenSsl())
                ThrowIfCurlFailed(chosen, u"Curl: Failed to set SSL/TLS backend");
            ThrowIfCurlFailed(curl_global_init(CURL_GLOBAL_DEFAULT), u"curl_global_init");
        });
}

void CheckClientCertificate(const TPath& file)
{
    const OpenSslPtr<X509> certificate(PEM_read_bio_X509(OpenFile(file).get(), nullptr, RefusePassphrase, nullptr));
    if (!certificate)
        ThrowBadCertificate(file, u"the file holds no certificate in PEM form");
    const OpenSslPtr<EVP_PKEY> key(PEM_read_bio_PrivateKey(OpenFile(file).get(), nullptr, RefusePassphrase, nullptr));
    if (!key)
        ThrowBadCertificate(file, u"the file holds no private key that can be read without a passphrase");
    if (X509_check_private_key(certificate.get(), key.get()) != 1)
        ThrowBadCertificate(file, u"the private key does not belong to the certificate");
    if (X509_cmp_current_time(X509_get0_notAfter(certificate.get())) < 0)
        LogMessage(LogSeverity::Warning,
            TFormatString(u"TNetworkAccessManager: client certificate '%1' has expired").arg(file.ToText()).result());
}
