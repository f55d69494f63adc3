// Whose certificates a session trusts.
#include "Platform/http/URLSession.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using Kind = TransportError::Kind;

template <auto release>
struct Releaser {
    template <typename Handle>
    void operator()(Handle* handle) const {
        release(handle);
    }
};
template <typename Handle, auto release>
using Owner = std::unique_ptr<Handle, Releaser<release>>;
using TLSKey = Owner<EVP_PKEY, EVP_PKEY_free>;
using TLSCertificate = Owner<X509, X509_free>;
using TLSContext = Owner<SSL_CTX, SSL_CTX_free>;
using TLSConnection = Owner<SSL, SSL_free>;

// Valid for 127.0.0.1 and signed by itself.
TLSCertificate makeCertificate(EVP_PKEY* key) {
    TLSCertificate certificate(X509_new());
    X509* raw = certificate.get();
    X509_set_version(raw, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(raw), 1);
    X509_gmtime_adj(X509_getm_notBefore(raw), -3600);
    X509_gmtime_adj(X509_getm_notAfter(raw), 3600);
    X509_set_pubkey(raw, key);
    X509_NAME* name = X509_get_subject_name(raw);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("Own authority"), -1, -1, 0);
    X509_set_issuer_name(raw, name);
    for (const auto& [kind, value] :
         {std::pair(NID_basic_constraints, "CA:TRUE"), std::pair(NID_subject_alt_name, "IP:127.0.0.1")}) {
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value);
        X509_add_ext(raw, extension, -1);
        X509_EXTENSION_free(extension);
    }
    X509_sign(raw, key, EVP_sha256());
    return certificate;
}

// Answers connections with "200 OK" until it is destroyed.
class EncryptedServer {
  public:
    EncryptedServer() : key_(EVP_EC_gen("P-256")), certificate_(makeCertificate(key_.get())) {
        SSL_CTX_use_certificate(context_.get(), certificate_.get());
        SSL_CTX_use_PrivateKey(context_.get(), key_.get());
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(::listen(listener_, 8), 0);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~EncryptedServer() {
        ::shutdown(listener_, SHUT_RDWR); // ends accept
        thread_.join();
        ::close(listener_);
    }
    EncryptedServer(const EncryptedServer&) = delete;
    EncryptedServer& operator=(const EncryptedServer&) = delete;

    [[nodiscard]] std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }
    [[nodiscard]] unsigned long nameHash() const {
        return X509_NAME_hash_ex(X509_get_subject_name(certificate_.get()), nullptr, nullptr, nullptr);
    }
    void writeCertificate(const std::filesystem::path& file) const {
        std::FILE* stream = std::fopen(file.c_str(), "w");
        PEM_write_X509(stream, certificate_.get());
        std::fclose(stream);
    }

  private:
    void serve() {
        for (int socket = 0; (socket = ::accept(listener_, nullptr, nullptr)) >= 0; ::close(socket)) {
            const TLSConnection connection(SSL_new(context_.get()));
            SSL_set_fd(connection.get(), socket);
            char request[4096];
            if (SSL_accept(connection.get()) != 1 || SSL_read(connection.get(), request, sizeof request) <= 0)
                continue;
            constexpr std::string_view answer =
                "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
            SSL_write(connection.get(), answer.data(), static_cast<int>(answer.size()));
            SSL_shutdown(connection.get());
        }
    }

    const TLSKey key_;
    const TLSCertificate certificate_;
    const TLSContext context_{SSL_CTX_new(TLS_server_method())};
    const int listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    int port_ = 0;
    std::thread thread_;
};

TEST(URLSessionTrust, isGivenByAFileOrAFolderOfAuthorities) {
    std::signal(SIGPIPE, SIG_IGN); // a client that trusts nobody leaves while the server still writes
    const EncryptedServer server;
    const TemporaryFolder folder;
    const auto file = folder / "authority.pem";
    server.writeCertificate(file);
    char hashed[16];
    std::snprintf(hashed, sizeof hashed, "%08lx.0", server.nameHash());
    std::filesystem::create_directory(folder / "authorities");
    server.writeCertificate(folder / "authorities" / hashed);
    EXPECT_EQ(URLSession({.certificateFile = file}).send({.url = server.url()}).status, 200);
    EXPECT_EQ(URLSession({.certificateFolder = folder / "authorities"}).send({.url = server.url()}).status,
              200);

    const auto failure = [&](URLSession::Options options) -> std::string {
        try {
            static_cast<void>(URLSession(std::move(options)).send({.url = server.url()}));
        } catch (const TransportError& error) {
            EXPECT_EQ(error.kind(), Kind::untrusted);
            return error.what();
        }
        return "trusted";
    };
    EXPECT_THAT(failure({}), HasSubstr("no trusted connection"));
    EXPECT_THAT(failure({.certificateFile = folder / "absent.pem"}), HasSubstr("absent.pem"));
}

} // namespace
} // namespace quorvel::test
