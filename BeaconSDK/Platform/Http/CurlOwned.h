#pragma once

#include <curl/curl.h>

#include <memory>

namespace ks {

/// Calls one of libcurl's functions to free what it handed out.
template <auto free>
struct CurlDeleter {
  template <class T>
  void operator()(T* object) const {
    free(object);
  }
};

using CurlEasy = std::unique_ptr<CURL, CurlDeleter<curl_easy_cleanup>>;
using CurlMulti = std::unique_ptr<CURLM, CurlDeleter<curl_multi_cleanup>>;
using CurlURL = std::unique_ptr<CURLU, CurlDeleter<curl_url_cleanup>>;
using CurlList = std::unique_ptr<curl_slist, CurlDeleter<curl_slist_free_all>>;
using CurlText = std::unique_ptr<char, CurlDeleter<curl_free>>;

}  // namespace ks
