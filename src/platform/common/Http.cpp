#include "platform/common/Http.h"

#include <curl/curl.h>

namespace tavrin {

namespace {

struct Received {
    std::string* body;
    std::size_t limit;
};

std::size_t collect(char* data, std::size_t size, std::size_t count, void* user) {
    auto* received = static_cast<Received*>(user);
    const std::size_t bytes = size * count;
    if (received->body->size() + bytes > received->limit)
        return 0; // ends the transfer
    received->body->append(data, bytes);
    return bytes;
}

int checkCancel(void* cancel, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<const std::atomic<bool>*>(cancel)->load() ? 1 : 0;
}

HttpResponse perform(CURL* curl, const std::string& url, std::size_t limit, const std::atomic<bool>* cancel) {
    HttpResponse response;
    Received received{&response.body, limit};
    char error[CURL_ERROR_SIZE] = {};
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, 5000L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 10000L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, error);
    if (cancel) {
        curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
        curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, checkCancel);
        curl_easy_setopt(curl, CURLOPT_XFERINFODATA, const_cast<std::atomic<bool>*>(cancel));
    }
    long status = 0;
    const CURLcode code = curl_easy_perform(curl);
    if (code == CURLE_OK)
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    else
        response.error = *error ? error : curl_easy_strerror(code);
    response.status = static_cast<int>(status);
    return response;
}

bool initialised() {
    static const bool ok = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return ok;
}

} // namespace

HttpResponse httpPost(const std::string& url, const std::string& body, const std::vector<std::string>& headers,
                      const std::atomic<bool>* cancel) {
    if (!initialised())
        return {0, {}, "libcurl could not start"};
    CURL* curl = curl_easy_init();
    if (!curl)
        return {0, {}, "libcurl could not start"};
    curl_slist* list = nullptr;
    for (const auto& header : headers)
        list = curl_slist_append(list, header.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    auto response = perform(curl, url, 1 << 16, cancel);
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
    return response;
}

HttpResponse httpGet(const std::string& url, std::size_t maxBytes) {
    if (!initialised())
        return {0, {}, "libcurl could not start"};
    CURL* curl = curl_easy_init();
    if (!curl)
        return {0, {}, "libcurl could not start"};
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    auto response = perform(curl, url, maxBytes, nullptr);
    curl_easy_cleanup(curl);
    return response;
}

} // namespace tavrin
