// Owners of libcurl's handles, and their options.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>
#include <stdexcept>

namespace quorvel {

struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

struct MultiDeleter {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;

struct ShareDeleter {
    void operator()(CURLSH* handle) const { curl_share_cleanup(handle); }
};
using ShareHandle = std::unique_ptr<CURLSH, ShareDeleter>;

struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;

template <typename Value>
void setOption(CURL* handle, CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLE_OK) throw std::logic_error("libcurl lacks an option that transfers need");
}

} // namespace quorvel
