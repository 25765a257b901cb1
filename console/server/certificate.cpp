#include "console/server/certificate.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gnutls/x509.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace console {

namespace {

constexpr std::string_view own_name = "l3-console";
constexpr std::time_t day = std::time_t{24} * 60 * 60;
constexpr std::time_t lifetime = 397 * day;
/* A clock that was never set says 1970: no certificate is made for before this day (2026-01-01). */
constexpr std::time_t earliest = 1767225600;

using Key = std::unique_ptr<gnutls_x509_privkey_int, void (*)(gnutls_x509_privkey_t)>;
using Crt = std::unique_ptr<gnutls_x509_crt_int, void (*)(gnutls_x509_crt_t)>;

void check(int result, const std::string& what) {
  if (result < 0) {
    throw std::runtime_error(what + ": " + gnutls_strerror(result));
  }
}

Crt new_crt() {
  gnutls_x509_crt_t crt = nullptr;
  check(gnutls_x509_crt_init(&crt), "certificate");
  return {crt, gnutls_x509_crt_deinit};
}

/* Empty where there is none. */
std::string read_file(const std::string& path) {
  std::string text(std::size_t{64} * 1024, '\0');
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t size = fd == -1 ? 0 : read(fd, text.data(), text.size());
  if (fd != -1) {
    close(fd);
  }
  text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return text;
}

/* Whole, or not at all. */
void write_file(const std::string& path, const std::string& text) {
  const std::string draft = path + ".new";
  const int fd = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  const bool is_good = fd != -1 &&
                       write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                       fsync(fd) == 0;
  if (fd != -1) {
    close(fd);
  }
  if (!is_good || rename(draft.c_str(), path.c_str()) != 0) {
    throw std::runtime_error(path + ": could not be written");
  }
}

std::time_t now() {
  return std::max(std::time(nullptr), earliest);
}

bool has_name(gnutls_x509_crt_t crt, const std::string& name) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  if (inet_pton(AF_INET, name.c_str(), address.data()) == 1) {
    return gnutls_x509_crt_check_ip(crt, address.data(), 4, 0) != 0;
  }
  if (inet_pton(AF_INET6, name.c_str(), address.data()) == 1) {
    return gnutls_x509_crt_check_ip(crt, address.data(), 16, 0) != 0;
  }
  return gnutls_x509_crt_check_hostname(crt, name.c_str()) != 0;
}

void add_name(gnutls_x509_crt_t crt, const std::string& name) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  const bool is_4 = inet_pton(AF_INET, name.c_str(), address.data()) == 1;
  const bool is_6 = !is_4 && inet_pton(AF_INET6, name.c_str(), address.data()) == 1;
  const int result =
      is_4 || is_6 ? gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_IPADDRESS, address.data(),
                                                          is_4 ? 4 : 16, GNUTLS_FSAN_APPEND)
                   : gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_DNSNAME, name.data(),
                                                          static_cast<unsigned>(name.size()),
                                                          GNUTLS_FSAN_APPEND);
  check(result, name);
}

bool is_ours(gnutls_x509_crt_t crt) {
  std::array<char, 64> issuer{};
  size_t size = issuer.size();
  return gnutls_x509_crt_get_issuer_dn_by_oid(crt, GNUTLS_OID_X520_COMMON_NAME, 0, 0, issuer.data(),
                                              &size) == 0 &&
         std::string_view(issuer.data(), size) == own_name;
}

/* Whether the files can be used for as long as it takes to the next look at them. */
bool is_good_enough(const Certificate& files, const std::vector<std::string>& names) {
  if (files.certificate.empty() || files.key.empty()) {
    return false;
  }
  const Crt crt = new_crt();
  const gnutls_datum_t text{
      reinterpret_cast<unsigned char*>(const_cast<char*>(files.certificate.data())),
      static_cast<unsigned>(files.certificate.size())};
  check(gnutls_x509_crt_import(crt.get(), &text, GNUTLS_X509_FMT_PEM), "certificate.pem");
  if (!is_ours(crt.get())) {
    return true;
  }
  return gnutls_x509_crt_get_expiration_time(crt.get()) > now() + 30 * day &&
         std::all_of(names.begin(), names.end(),
                     [&](const std::string& name) { return has_name(crt.get(), name); });
}

template <typename Object>
std::string pem_of(Object* object, int (*write)(Object*, gnutls_x509_crt_fmt_t, gnutls_datum_t*)) {
  gnutls_datum_t text{};
  check(write(object, GNUTLS_X509_FMT_PEM, &text), "certificate");
  std::string pem(reinterpret_cast<char*>(text.data), text.size);
  gnutls_free(text.data);
  return pem;
}

Certificate make_certificate(const std::vector<std::string>& names) {
  gnutls_x509_privkey_t made = nullptr;
  check(gnutls_x509_privkey_init(&made), "key");
  const Key key(made, gnutls_x509_privkey_deinit);
  check(gnutls_x509_privkey_generate(made, GNUTLS_PK_ECDSA,
                                     GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0),
        "key");
  const Crt crt = new_crt();
  std::array<unsigned char, 16> serial{};
  if (getrandom(serial.data(), serial.size(), 0) != static_cast<ssize_t>(serial.size())) {
    throw std::runtime_error("no random numbers");
  }
  serial[0] &= 0x7f;
  check(gnutls_x509_crt_set_version(crt.get(), 3), "version");
  check(gnutls_x509_crt_set_serial(crt.get(), serial.data(), serial.size()), "serial");
  check(gnutls_x509_crt_set_dn_by_oid(crt.get(), GNUTLS_OID_X520_COMMON_NAME, 0, own_name.data(),
                                      static_cast<unsigned>(own_name.size())),
        "name");
  check(gnutls_x509_crt_set_activation_time(crt.get(), now() - day), "begin");
  check(gnutls_x509_crt_set_expiration_time(crt.get(), now() - day + lifetime), "end");
  check(gnutls_x509_crt_set_basic_constraints(crt.get(), 0, -1), "constraints");
  check(gnutls_x509_crt_set_key_usage(crt.get(), GNUTLS_KEY_DIGITAL_SIGNATURE), "usage");
  check(gnutls_x509_crt_set_key_purpose_oid(crt.get(), GNUTLS_KP_TLS_WWW_SERVER, 0), "purpose");
  for (const std::string& name : names) {
    add_name(crt.get(), name);
  }
  check(gnutls_x509_crt_set_key(crt.get(), made), "key");
  check(gnutls_x509_crt_sign2(crt.get(), crt.get(), made, GNUTLS_DIG_SHA256, 0), "signature");
  return {pem_of(made, gnutls_x509_privkey_export2), pem_of(crt.get(), gnutls_x509_crt_export2)};
}

}  // namespace

Certificate load_or_make_certificate(const std::string& directory,
                                     const std::vector<std::string>& names) {
  const std::string key_file = directory + "/key.pem";
  const std::string certificate_file = directory + "/certificate.pem";
  Certificate files{read_file(key_file), read_file(certificate_file)};
  if (!is_good_enough(files, names)) {
    files = make_certificate(names);
    // In this order a key without its certificate is left at worst, and both are made again.
    if (unlink(certificate_file.c_str()) != 0 && errno != ENOENT) {
      throw std::runtime_error(certificate_file + ": could not be removed");
    }
    write_file(key_file, files.key);
    write_file(certificate_file, files.certificate);
  }
  return files;
}

}  // namespace console
