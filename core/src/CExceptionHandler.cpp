// Exception record that logs itself.
#include "CExceptionHandler.h"

#include "CLogger.h"

CExceptionHandler::CExceptionHandler(const std::string& message)
    : m_pLogger(std::make_shared<CLogger>("CExceptionHandler")), m_message(message) {
    m_pLogger->error(message);
}

CExceptionHandler::~CExceptionHandler() = default;
