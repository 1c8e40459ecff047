#include "brvcore/network/CurlHandle.h"

#include "brvcore/network/CurlErrors.h"
#include "brvcore/network/CurlTls.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

CurlShare::CurlShare()
{
    SetUpCurl();
    m_share = curl_share_init();
    if (m_share == nullptr)
        throw std::bad_alloc();
    try
    {
        ThrowIfCurlFailed(curl_share_setopt(m_share, CURLSHOPT_LOCKFUNC, &CurlShare::Lock), u"CURLSHOPT_LOCKFUNC");
        ThrowIfCurlFailed(
            curl_share_setopt(m_share, CURLSHOPT_UNLOCKFUNC, &CurlShare::Unlock), u"CURLSHOPT_UNLOCKFUNC");
        ThrowIfCurlFailed(
            curl_share_setopt(m_share, CURLSHOPT_USERDATA, static_cast<void*>(this)), u"CURLSHOPT_USERDATA");
        for (const int data : {CURL_LOCK_DATA_COOKIE, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION})
            ThrowIfCurlFailed(curl_share_setopt(m_share, CURLSHOPT_SHARE, data), u"CURLSHOPT_SHARE");
    }
    catch (...)
    {
        curl_share_cleanup(m_share);
        throw;
    }
}

CurlShare::~CurlShare()
{
    curl_share_cleanup(m_share);
}

void CurlShare::Lock(CURL*, curl_lock_data data, curl_lock_access, void* share)
{
    static_cast<CurlShare*>(share)->m_locks[data].lock();
}

void CurlShare::Unlock(CURL*, curl_lock_data data, void* share)
{
    static_cast<CurlShare*>(share)->m_locks[data].unlock();
}

CurlHandle::CurlHandle(const CurlShare& share, std::string origin)
    : m_origin(std::move(origin)), m_share(share.Get()), m_multi(curl_multi_init()), m_easy(curl_easy_init())
{
    const CURLSHcode shared = m_easy != nullptr && m_multi != nullptr
                                  ? static_cast<CURLSHcode>(curl_easy_setopt(m_easy, CURLOPT_SHARE, m_share))
                                  : CURLSHE_NOMEM;
    if (shared == CURLSHE_OK)
    {
        LeaveSignalsAlone();
        // The multi handle takes the option over with an easy one. It closes connections, if only none, at its end.
        curl_multi_add_handle(m_multi, m_easy);
        curl_multi_remove_handle(m_multi, m_easy);
        return;
    }
    curl_easy_cleanup(m_easy);
    curl_multi_cleanup(m_multi);
    throw MakeCurlException(shared, u"CURLOPT_SHARE");
}

CurlHandle::~CurlHandle()
{
    curl_easy_cleanup(m_easy);
    curl_multi_cleanup(m_multi);
}

void CurlHandle::Reset() noexcept
{
    // libcurl 7.88 forgets its list of cookie files without freeing it. Clearing the list first takes the handle off the
    // shared cookies, hence it joins the share again, which cannot fail a second time.
    curl_easy_setopt(m_easy, CURLOPT_COOKIEFILE, static_cast<char*>(nullptr));
    curl_easy_reset(m_easy);
    curl_easy_setopt(m_easy, CURLOPT_SHARE, m_share);
    LeaveSignalsAlone();
}

void CurlHandle::LeaveSignalsAlone() noexcept
{
    curl_easy_setopt(m_easy, CURLOPT_NOSIGNAL, 1L);
}

void CurlHandle::ClearCookies()
{
    ThrowIfCurlFailed(curl_easy_setopt(m_easy, CURLOPT_COOKIELIST, "ALL"), u"CURLOPT_COOKIELIST");
}

std::string CurlHandlePool::GetOrigin(std::string_view url)
{
    const std::size_t scheme = url.find("://");
    const std::size_t begin = scheme == std::string_view::npos ? 0 : scheme + 3;
    const std::size_t end = std::min(url.find_first_of("/?#", begin), url.size());
    const std::string_view authority = url.substr(begin, end - begin);
    const std::size_t at = authority.rfind('@');
    std::string origin(url.substr(0, begin));
    origin += at == std::string_view::npos ? authority : authority.substr(at + 1);
    std::ranges::transform(
        origin, origin.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return origin;
}

std::unique_ptr<CurlHandle> CurlHandlePool::Take(std::string origin)
{
    {
        std::vector<Idle> old;   // closed outside the lock
        const std::lock_guard guard(m_lock);
        old = RemoveOld();
        const auto found = std::find_if(
            m_idle.rbegin(), m_idle.rend(), [&](const Idle& idle) { return idle.handle->GetOrigin() == origin; });
        if (found != m_idle.rend())
        {
            std::unique_ptr<CurlHandle> handle = std::move(found->handle);
            m_idle.erase(std::next(found).base());
            return handle;
        }
    }
    return std::make_unique<CurlHandle>(m_share, std::move(origin));
}

void CurlHandlePool::Return(std::unique_ptr<CurlHandle> handle)
{
    std::vector<Idle> old;   // closed outside the lock
    const std::lock_guard guard(m_lock);
    m_idle.push_back({std::move(handle), std::chrono::steady_clock::now()});
    old = RemoveOld();
}

void CurlHandlePool::Clear()
{
    std::vector<Idle> idle;   // closed outside the lock
    const std::lock_guard guard(m_lock);
    idle.swap(m_idle);
}

std::vector<CurlHandlePool::Idle> CurlHandlePool::RemoveOld()
{
    const auto limit = std::chrono::steady_clock::now() - kMaxIdleTime;
    auto end = m_idle.begin() + static_cast<std::ptrdiff_t>(m_idle.size() - std::min(m_idle.size(), kMaxIdle));
    while (end != m_idle.end() && end->since < limit)
        ++end;
    std::vector<Idle> old(std::make_move_iterator(m_idle.begin()), std::make_move_iterator(end));
    m_idle.erase(m_idle.begin(), end);
    return old;
}
