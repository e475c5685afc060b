// The website's HTTP side: the server's life, the one script's handler, the
// injected failures, the control requests, and the C++ API over the database.
#include "testbed/Website.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <httplib.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "Answer.h"
#include "ControlRequests.h"
#include "FormBody.h"
#include "SiteDatabase.h"
#include "SiteFunctions.h"
#include "testbed/ControlForm.h"

namespace testbed {

namespace {

// Enough for several requests held unanswered at once.
constexpr std::size_t kWorkerThreads = 16;
// The client keeps no connection open between requests, and a connection that
// idles keeps stop() waiting, so each connection serves one request; a client
// that connects and says nothing is dropped after this.
constexpr time_t kReadTimeoutSeconds = 2;
// An Oversized answer is at least this long.
constexpr std::size_t kOversizedBytes = 6000;

const char* const kAnswerContentType = "text/plain; charset=UTF-8";

std::string scriptPattern() {
    // Server patterns are regular expressions.
    std::string pattern;
    for (const char* c = kWebsiteScript; *c != '\0'; ++c) {
        if (*c == '.') {
            pattern += '\\';
        }
        pattern += *c;
    }
    return pattern;
}

std::string htmlPage(const std::string& title, const std::string& text) {
    return "<!DOCTYPE html>\n<html><head><title>" + title + "</title></head>\n<body><h1>" + title +
           "</h1>\n<p>" + text + "</p></body></html>\n";
}

// Ends the connection a request came on without a byte of answer. The handler
// is not given its socket, so find it among the process's descriptors by its
// two ports; the server's write afterwards fails and it closes the socket.
void dropConnection(int serverPort, int clientPort) {
    DIR* folder = opendir("/proc/self/fd");
    if (folder == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(folder)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0') {
            continue;
        }
        const int descriptor = static_cast<int>(fd);
        sockaddr_in local{};
        sockaddr_in peer{};
        socklen_t localSize = sizeof local;
        socklen_t peerSize = sizeof peer;
        const bool ours =
            getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &localSize) == 0 &&
            local.sin_family == AF_INET && ntohs(local.sin_port) == serverPort &&
            getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
            ntohs(peer.sin_port) == clientPort;
        if (!ours) {
            continue;
        }
        shutdown(descriptor, SHUT_RDWR);
        break;
    }
    closedir(folder);
}

}  // namespace

class Website::Impl {
public:
    Impl(Website& site, const std::string& databasePath) : m_site(site), m_db(databasePath) {}

    // The control requests steer the site through its own API.
    Website& m_site;

    // The database and everything that reads or writes it.
    mutable std::mutex m_dataMutex;
    mutable std::condition_variable m_requestHandled;
    SiteDatabase m_db;

    // start() and stop() against each other.
    std::mutex m_serverMutex;
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_listener;
    std::atomic<int> m_port{0};

    // Wakes requests held by NoAnswer or Delay when the site stops.
    std::mutex m_stopMutex;
    std::condition_variable m_stopping;
    bool m_stopRequested = false;

    struct Injected {
        Failure failure;
        int remaining = 0;  // 0: until cleared
    };
    std::mutex m_failureMutex;
    std::map<std::string, Injected> m_failures;  // by function; "" for all

    std::atomic<std::size_t> m_pieceBytes{0};
    std::atomic<std::int64_t> m_piecePauseMs{0};
    std::atomic<bool> m_strictFormat{true};
    std::atomic<std::int64_t> m_fixedTimeSeconds{0};
    std::atomic<std::int64_t> m_noAnswerLimitMs{10 * 60 * 1000};

    std::int64_t nowMs() const {
        const std::int64_t fixed = m_fixedTimeSeconds;
        if (fixed != 0) {
            return fixed * 1000;
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    // False when the site stopped during the wait.
    bool waitUnlessStopped(std::chrono::milliseconds duration) {
        std::unique_lock<std::mutex> lock(m_stopMutex);
        return !m_stopping.wait_for(lock, duration, [this] { return m_stopRequested; });
    }

    Failure takeFailure(const std::string& function) {
        std::lock_guard<std::mutex> lock(m_failureMutex);
        auto found = function.empty() ? m_failures.end() : m_failures.find(function);
        if (found == m_failures.end()) {
            found = m_failures.find("");
        }
        if (found == m_failures.end()) {
            return Failure::none();
        }
        const Failure failure = found->second.failure;
        if (found->second.remaining > 0 && --found->second.remaining == 0) {
            m_failures.erase(found);
        }
        return failure;
    }

    std::string process(const std::string& body, const FormFields& fields, std::string& problem) {
        std::lock_guard<std::mutex> lock(m_dataMutex);
        const SiteOutcome outcome = answerRequest(m_db, body, fields, {nowMs(), m_strictFormat});
        problem = outcome.problem;
        return renderAnswer(outcome.answer);
    }

    // The answer goes out a few bytes at a time with a pause after each
    // piece, as a slow or distant network delivers it: the client receives
    // it in many blocks.
    void sendInPieces(httplib::Response& response, const std::string& answer) {
        const std::string type = response.get_header_value("Content-Type");
        auto whole = std::make_shared<const std::string>(answer);
        const std::size_t pieceBytes = m_pieceBytes.load();
        const std::chrono::milliseconds pause(m_piecePauseMs.load());
        response.body.clear();
        response.set_content_provider(
            whole->size(), type,
            [this, whole, pieceBytes, pause](std::size_t offset, std::size_t length,
                                             httplib::DataSink& sink) {
                const std::size_t piece = std::min(pieceBytes, length);
                if (!sink.write(whole->data() + offset, piece)) {
                    return false;
                }
                return offset + piece >= whole->size() || waitUnlessStopped(pause);
            });
    }

    void handle(const httplib::Request& request, httplib::Response& response) {
        const std::string& body = request.body;
        const FormFields fields = parseFormBody(body);
        const std::string function = body.rfind("function=", 0) == 0 && !fields.empty()
                                         ? fields.front().second
                                         : std::string();
        std::int64_t requestId = 0;
        {
            std::lock_guard<std::mutex> lock(m_dataMutex);
            requestId = m_db.addRequest(function, body, nowMs());
        }
        std::string answer;
        std::string problem;
        const Failure failure = takeFailure(function);
        try {
            switch (failure.kind) {
                case Failure::Kind::Refuse:
                    dropConnection(m_port, request.remote_port);
                    break;
                case Failure::Kind::NoAnswer:
                    waitUnlessStopped(std::chrono::milliseconds(m_noAnswerLimitMs.load()));
                    dropConnection(m_port, request.remote_port);
                    break;
                case Failure::Kind::HttpError:
                    answer = htmlPage(std::to_string(failure.httpStatus) + " Server Error",
                                      "The server could not complete the request.");
                    response.status = failure.httpStatus;
                    response.set_content(answer, "text/html; charset=UTF-8");
                    break;
                case Failure::Kind::Garbage:
                    answer = htmlPage("Maintenance", "The site is down for maintenance.");
                    response.set_content(answer, "text/html; charset=UTF-8");
                    break;
                case Failure::Kind::Word:
                    answer = renderAnswer(Answer::failure(failure.word));
                    response.set_content(answer, kAnswerContentType);
                    break;
                case Failure::Kind::Delay:
                    if (!waitUnlessStopped(std::chrono::milliseconds(failure.delayMs))) {
                        dropConnection(m_port, request.remote_port);
                        break;
                    }
                    [[fallthrough]];
                case Failure::Kind::None:
                case Failure::Kind::MissingDataEnd:
                case Failure::Kind::Oversized: {
                    answer = process(body, fields, problem);
                    if (failure.kind == Failure::Kind::MissingDataEnd) {
                        answer = withoutDataEnd(answer);
                    } else if (failure.kind == Failure::Kind::Oversized) {
                        answer = oversized(answer, kOversizedBytes);
                    }
                    response.set_content(answer, kAnswerContentType);
                    break;
                }
            }
            if (m_pieceBytes.load() > 0 && !answer.empty() && response.body == answer) {
                sendInPieces(response, answer);
            }
        } catch (const std::exception& error) {
            problem = std::string("site error: ") + error.what();
            answer = htmlPage("500 Internal Server Error", "The site failed.");
            response.status = 500;
            response.set_content(answer, "text/html; charset=UTF-8");
            std::cerr << "quelby-website: " << problem << "\n";
        }
        {
            std::lock_guard<std::mutex> lock(m_dataMutex);
            m_db.finishRequest(requestId, answer, problem, failure.kind);
        }
        m_requestHandled.notify_all();
    }

    bool start(int port) {
        std::lock_guard<std::mutex> lock(m_serverMutex);
        if (m_server) {
            return false;
        }
        auto server = std::make_unique<httplib::Server>();
        server->new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
        // The library's default also sets SO_REUSEPORT, with which a second
        // site would share the port and take some of the first one's requests.
        server->set_socket_options([](socket_t sock) {
            int on = 1;
            setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        server->set_keep_alive_max_count(1);
        // Each piece of an answer sent in pieces leaves at once.
        server->set_tcp_nodelay(true);
        server->set_read_timeout(kReadTimeoutSeconds, 0);
        server->set_write_timeout(kReadTimeoutSeconds, 0);
        server->Post(scriptPattern(),
                     [this](const httplib::Request& request, httplib::Response& response) {
                         handle(request, response);
                     });
        server->Post(kWebsiteControlPath,
                     [this](const httplib::Request& request, httplib::Response& response) {
                         const ControlAnswer answer = answerControlRequest(m_site, request.body);
                         response.status = answer.status;
                         response.set_content(answer.body, kAnswerContentType);
                     });
        int bound = -1;
        if (port == 0) {
            bound = server->bind_to_any_port("127.0.0.1");
        } else if (server->bind_to_port("127.0.0.1", port)) {
            bound = port;
        }
        if (bound <= 0) {
            return false;
        }
        {
            std::lock_guard<std::mutex> stopLock(m_stopMutex);
            m_stopRequested = false;
        }
        m_port = bound;
        httplib::Server* listening = server.get();
        m_listener = std::thread([listening] {
            // A client that hangs up before its answer would otherwise end the
            // process with SIGPIPE; the server's threads inherit this mask.
            sigset_t pipe;
            sigemptyset(&pipe);
            sigaddset(&pipe, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
            listening->listen_after_bind();
        });
        // stop() only takes effect on a server that runs.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!listening->is_running() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        m_server = std::move(server);
        return true;
    }

    void stop() {
        std::lock_guard<std::mutex> lock(m_serverMutex);
        if (!m_server) {
            return;
        }
        {
            std::lock_guard<std::mutex> stopLock(m_stopMutex);
            m_stopRequested = true;
        }
        m_stopping.notify_all();
        m_server->stop();
        m_listener.join();  // the server joins its workers before it returns
        m_server.reset();
        m_port = 0;
    }
};

Website::Website(const std::string& databasePath)
    : m_impl(std::make_unique<Impl>(*this, databasePath)) {}

Website::~Website() { stop(); }

bool Website::start(int port) { return m_impl->start(port); }

void Website::stop() { m_impl->stop(); }

bool Website::isRunning() const { return m_impl->m_port != 0; }

int Website::port() const { return m_impl->m_port; }

std::string Website::url() const { return "127.0.0.1:" + std::to_string(port()); }

void Website::setClientVersion(const std::string& version, const std::string& betaVersion) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    m_impl->m_db.setSetting("client_version", version);
    m_impl->m_db.setSetting("client_beta_version", betaVersion);
}

void Website::setFixedTime(std::int64_t unixSeconds) { m_impl->m_fixedTimeSeconds = unixSeconds; }

void Website::setStrictFormat(bool on) { m_impl->m_strictFormat = on; }

void Website::setAnswerPieces(std::size_t bytes, std::chrono::milliseconds pause) {
    m_impl->m_pieceBytes = bytes;
    m_impl->m_piecePauseMs = pause.count();
}

void Website::setNoAnswerLimit(std::chrono::milliseconds limit) {
    m_impl->m_noAnswerLimitMs = limit.count();
}

int Website::addAirline(const Airline& airline) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addAirline(airline);
}

int Website::addPilot(const Pilot& pilot) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addPilot(pilot);
}

int Website::addAircraftType(const AircraftType& type) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addAircraftType(type);
}

int Website::addAircraft(const Aircraft& aircraft) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addAircraft(aircraft);
}

void Website::addAirport(const Airport& airport) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    m_impl->m_db.addAirport(airport);
}

int Website::addRoute(const Route& route) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addRoute(route);
}

int Website::book(const Booking& booking) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.book(booking, m_impl->nowMs() / 1000);
}

void Website::cancelBookings(const std::string& user) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    m_impl->m_db.cancelBookings(user);
}

int Website::addNews(const std::string& header, const std::string& text, int id) {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.addNews(header, text, id);
}

void Website::injectFailure(const std::string& function, const Failure& failure, int times) {
    std::lock_guard<std::mutex> lock(m_impl->m_failureMutex);
    if (failure.kind == Failure::Kind::None && times == 0) {
        m_impl->m_failures.erase(function);
        return;
    }
    m_impl->m_failures[function] = {failure, times};
}

void Website::clearFailures() {
    std::lock_guard<std::mutex> lock(m_impl->m_failureMutex);
    m_impl->m_failures.clear();
}

std::vector<ReceivedRequest> Website::requests() const { return requests(""); }

std::vector<ReceivedRequest> Website::requests(const std::string& function) const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.requests(function);
}

void Website::clearRequests() {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    m_impl->m_db.clearRequests();
}

bool Website::waitForRequests(const std::string& function, std::size_t count,
                              std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_requestHandled.wait_for(
        lock, timeout, [&] { return m_impl->m_db.handledRequests(function) >= count; });
}

std::vector<Record> Website::reports() const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.reports();
}

std::vector<Record> Website::positionLogs() const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.positionLogs();
}

std::vector<Record> Website::eventLogs() const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.eventLogs();
}

std::vector<Record> Website::trackerUpdates() const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.trackerUpdates();
}

std::vector<Record> Website::flightLogs() const {
    std::lock_guard<std::mutex> lock(m_impl->m_dataMutex);
    return m_impl->m_db.flightLogs();
}

}  // namespace testbed
