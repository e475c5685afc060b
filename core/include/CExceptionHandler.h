// An exception record that leaves its message in the debug log as soon as it
// is made, whether or not anyone catches it.
//
// Threads: any.
#pragma once

#include <memory>
#include <string>

class CLogger;

class CExceptionHandler {
public:
    explicit CExceptionHandler(const std::string& message);
    ~CExceptionHandler();
    const std::string& getMessage() const { return m_message; }

private:
    std::shared_ptr<CLogger> m_pLogger;
    std::string m_message;
};
