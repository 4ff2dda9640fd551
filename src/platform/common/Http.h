#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace tavrin {

// One blocking HTTP exchange through libcurl, with short time-outs (5 s to connect, 10 s in all).
// Call from a worker thread, never from the main thread. Thread-safe.
struct HttpResponse {
    int status = 0; // 0 when no answer came
    std::string body;
    std::string error; // what went wrong when status is 0
};

// POSTs `body` with the given header lines ("Content-Type: application/json"). Setting `cancel`
// from another thread ends the exchange within about a second.
HttpResponse httpPost(const std::string& url, const std::string& body, const std::vector<std::string>& headers,
                      const std::atomic<bool>* cancel = nullptr);
// GETs `url`, following redirects; the body is cut at `maxBytes`.
HttpResponse httpGet(const std::string& url, std::size_t maxBytes = 1 << 20);

} // namespace tavrin
