#include "base/isfail.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/isglobal.h"

void isFail(IsamFile *h, int code, int io) {
    if (h->activeClass == ISCLASS_NONE) is_fatal("isam crash [%d/%x]", h->errcode, static_cast<unsigned>(h->errio));
    h->failedClass = h->activeClass;
    h->activeClass = ISCLASS_NONE;
    h->errcode = code;
    h->errio = io;
    errno = code;
    std::longjmp(h->recoveryPoint, 1);
}

void is_fatal(const char *format, ...) {
    char message[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (isProcess.fatcall != nullptr)
        isProcess.fatcall(message);
    else
        std::puts(message);
    std::exit(1);
}

void isBroken(const char *module, int line) { is_fatal("fatal isam error %s(%d)", module, line); }

void isFatal(void (*handler)(char *message)) { isProcess.fatcall = handler; }
