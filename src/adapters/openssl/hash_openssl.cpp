#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <memory>
#include <stdexcept>

#include "foundation/hash.h"

namespace quillfold {

namespace {

struct ContextDeleter {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// OpenSSL would free what it has at exit, when a thread of the pool may still be hashing or
// a request under way. Before anybody else begins with it, who would have it do so.
[[maybe_unused]] const int kKept = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);

const EVP_MD* sha256() {
  static const EVP_MD* digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return digest;
}

}  // namespace

std::string sha256Hex(std::string_view bytes) {
  thread_local const std::unique_ptr<EVP_MD_CTX, ContextDeleter> context(EVP_MD_CTX_new());
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (EVP_DigestInit_ex2(context.get(), sha256(), nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()) != 1 ||
      EVP_DigestFinal_ex(context.get(), digest.data(), &size) != 1) {
    throw std::runtime_error("OpenSSL could not compute a SHA-256 digest");
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex(std::size_t{2} * size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    hex[2 * i] = kDigits[digest[i] >> 4];
    hex[2 * i + 1] = kDigits[digest[i] & 0x0F];
  }
  return hex;
}

}  // namespace quillfold
