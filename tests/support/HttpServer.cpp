#include "tests/support/HttpServer.h"

#include "tests/support/LogLines.h"
#include "tests/support/Namespace.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

constexpr char const* program = "/usr/bin/python3";

[[noreturn]] void serve(char const* directory, char const* log) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves no server behind
    int const file = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    execl(program, program, "-I", "-u", "-m", "http.server", "80", "--bind", "127.0.0.1",
          "--directory", directory, static_cast<char*>(nullptr));
    _exit(127);
}

bool answers() {
    int const descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(80);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool const connected =
        connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return connected;
}

bool answersInTime() {
    using namespace std::chrono_literals;
    auto const end = std::chrono::steady_clock::now() + 20s;
    while (!answers()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

void stop(pid_t server) {
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
}

} // namespace

HttpServer::HttpServer(std::string const& directory) {
    std::string const log = m_directory.path() + "/log";
    writeFile(log, "");
    m_server = fork();
    if (m_server == 0)
        serve(directory.c_str(), log.c_str());
    if (m_server < 0 || !answersInTime()) {
        if (m_server > 0)
            stop(m_server);
        throw std::runtime_error("no web server: " + readFile(log));
    }
}

HttpServer::~HttpServer() {
    stop(m_server);
}

std::vector<std::string> HttpServer::requests() const {
    std::vector<std::string> found;
    for (auto const& line : lines(readFile(m_directory.path() + "/log"))) {
        auto const request = line.find('"');
        auto const version = line.find(" HTTP/", request);
        auto const status = line.find("\" ", version);
        if (status == std::string::npos)
            continue;
        found.push_back(line.substr(request + 1, version - request - 1) +
                        line.substr(status + 1, 4));
    }
    return found;
}

void resolveToLoopback(std::string const& host) {
    mountTmpfs("/etc"); // a bare system has no file to put another one over
    writeFile("/etc/hosts", "127.0.0.1 localhost " + host + "\n");
    // A resolver service of the machine would answer from outside the namespaces.
    writeFile("/etc/nsswitch.conf", "hosts: files\n");
}

} // namespace support
