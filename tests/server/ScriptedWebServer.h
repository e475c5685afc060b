// A web server on 127.0.0.1 for the transport's tests: it answers every POST
// with the text the test sets and remembers the bodies it was sent.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ScriptedWebServer {
public:
    ScriptedWebServer() {
        m_server.Post("/client_interface2.php5",
                      [this](const httplib::Request& request, httplib::Response& response) {
                          std::string answer;
                          int hangMs = 0;
                          int status = 200;
                          {
                              std::lock_guard<std::mutex> lock(m_mutex);
                              m_bodies.push_back(request.body);
                              m_userAgents.push_back(request.get_header_value("User-Agent"));
                              answer = m_answer;
                              hangMs = m_hangMs;
                              status = m_status;
                          }
                          // A site that does not answer, in short steps so that stop is prompt.
                          for (int waitedMs = 0; waitedMs < hangMs && !m_stopping; waitedMs += 10) {
                              std::this_thread::sleep_for(std::chrono::milliseconds(10));
                          }
                          response.status = status;
                          response.set_content(answer, "text/plain");
                      });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~ScriptedWebServer() {
        m_stopping = true;
        m_server.stop();
        m_thread.join();
    }
    std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }
    void answer(const std::string& text) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_answer = text;
    }
    // The HTTP status of every answer from now on; 200 unless set.
    void status(int code) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_status = code;
    }
    void hang(int milliseconds) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hangMs = milliseconds;
    }
    std::vector<std::string> bodies() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_bodies;
    }
    std::string lastBody() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_bodies.empty() ? std::string() : m_bodies.back();
    }
    std::vector<std::string> userAgents() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_userAgents;
    }

private:
    httplib::Server m_server;
    std::thread m_thread;
    int m_port = 0;
    std::atomic<bool> m_stopping{false};
    mutable std::mutex m_mutex;
    std::string m_answer;
    int m_hangMs = 0;
    int m_status = 200;
    std::vector<std::string> m_bodies;
    std::vector<std::string> m_userAgents;
};
