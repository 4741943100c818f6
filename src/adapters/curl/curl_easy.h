// One easy handle of libcurl with the lists that it points to.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace quillfold {

class CurlEasy {
 public:
  CurlEasy() : handle_(curl_easy_init()) {
    if (!handle_) throw std::bad_alloc();
  }

  CURL* get() const { return handle_.get(); }

  template <typename T>
  void set(CURLoption option, T value) {
    // libcurl reads the argument by the option's own type, unchecked.
    static_assert(std::is_same_v<T, long> || std::is_same_v<T, curl_off_t> ||
                  std::is_pointer_v<T> || std::is_null_pointer_v<T>);
    const CURLcode code = curl_easy_setopt(get(), option, value);
    if (setUp_ == CURLE_OK) setUp_ = code;
  }

  // libcurl keeps the list itself, not a copy.
  void setList(CURLoption option, const std::vector<std::string>& lines) {
    List list;
    for (const std::string& line : lines) {
      curl_slist* longer = curl_slist_append(list.get(), line.c_str());
      if (!longer) throw std::bad_alloc();
      static_cast<void>(list.release());
      list.reset(longer);
    }
    set(option, list.get());
    lists_.push_back(std::move(list));
  }

  template <typename T>
  T info(CURLINFO which) const {
    T value{};
    curl_easy_getinfo(get(), which, &value);
    return value;
  }

  // The first failure of an option.
  CURLcode setUp() const { return setUp_; }

 private:
  struct FreeHandle {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  using List = std::unique_ptr<curl_slist, FreeList>;

  // Before the handle, so that they outlive it.
  std::vector<List> lists_;
  std::unique_ptr<CURL, FreeHandle> handle_;
  CURLcode setUp_ = CURLE_OK;
};

}  // namespace quillfold
