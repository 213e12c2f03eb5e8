// The standard catch clauses of a method that a framework calls, written once.
#pragma once

#include <stdexcept>

#include "cfierror.h"
#include "cfiexecpipe.h"
#include "tarn_trace.h"

// Each pushes one message of severity 3 onto the plug-in's error manager. line: the line that the message names.
void reportCaught(const EFiExecPipe& error, int line);
void reportCaught(const CFiError& error, int line);
void reportCaught(const CFiUdidException& error, int line);
void reportCaught(const std::runtime_error& error, int line);
void reportCaught(int error, int line);

// "MSG_ERROR_INITIALIZATION_FAILED", severity 2.
void reportInitializationFailed(int line);

// The status of body(), or, when it throws one of the five kinds, the reported message and failure. failure is read
// after the body: a method whose status depends on how far it came passes a variable. Anything else that is thrown
// leaves the method.
template <typename Body>
int guarded(const int& failure, Body body, int line = __builtin_LINE()) {
    try {
        return body();
    } catch (const EFiExecPipe& error) {
        reportCaught(error, line);
    } catch (const CFiError& error) {
        reportCaught(error, line);
    } catch (const CFiUdidException& error) {
        reportCaught(error, line);
    } catch (const std::runtime_error& error) {
        reportCaught(error, line);
    } catch (int error) {
        reportCaught(error, line);
    }
    return failure;
}
