#include "internal/Qor_Trace_Exception.h"

#include "qor_api.h"

Qor_Trace_Exception::Qor_Trace_Exception(unsigned int level, unsigned int code, const std::string& text)
    : Qor_Trace_Exception(level, code, text.c_str()) {}

Qor_Trace_Exception::Qor_Trace_Exception(unsigned int level, unsigned int code, const char* text) : Code(code) {
  Qor_ErrorHandler(level, code, "%s", text);
}
