#pragma once

// What a client's other headers define before they include this library's. A header of ours that uses one of
// these names, or defines it again, does not compile.
#define HOSTILE expanded a macro of another library

// Thread-safety annotations, as the compiler's manual shows them.
#define ACQUIRE(...) HOSTILE
#define ACQUIRED_AFTER(...) HOSTILE
#define ACQUIRED_BEFORE(...) HOSTILE
#define ASSERT_CAPABILITY(x) HOSTILE
#define CAPABILITY(x) HOSTILE
#define EXCLUDES(...) HOSTILE
#define GUARDED_BY(x) HOSTILE
#define NO_THREAD_SAFETY_ANALYSIS HOSTILE
#define PT_GUARDED_BY(x) HOSTILE
#define RELEASE(...) HOSTILE
#define REQUIRES(...) HOSTILE
#define RETURN_CAPABILITY(x) HOSTILE
#define SCOPED_CAPABILITY HOSTILE
#define THREAD_ANNOTATION(x) HOSTILE
#define TRY_ACQUIRE(...) HOSTILE

// Log and trace statements.
#define ALOGD(...) HOSTILE
#define ALOGE(...) HOSTILE
#define ATRACE_CALL() HOSTILE
#define ATRACE_TAG HOSTILE
#define CHECK(x) HOSTILE
#define DEBUG HOSTILE
#define ERROR HOSTILE
#define FATAL HOSTILE
#define INFO HOSTILE
#define LOG(x) HOSTILE
#define LOG_TAG HOSTILE
#define VERBOSE HOSTILE
#define WARNING HOSTILE

// Attributes.
#define API HOSTILE
#define DISALLOW_COPY_AND_ASSIGN(x) HOSTILE
#define EXPORT HOSTILE
#define LIKELY(x) HOSTILE
#define NODISCARD HOSTILE
#define UNUSED(x) HOSTILE
#define VISIBLE HOSTILE

// Results and states.
#define BAD_VALUE HOSTILE
#define FAILED HOSTILE
#define NO_ERROR HOSTILE
#define NO_INIT HOSTILE
#define OFF HOSTILE
#define OK HOSTILE
#define ON HOSTILE
#define SUCCESS HOSTILE
#define TIMED_OUT HOSTILE

// A window system's, a widget library's and the C library's words.
#define Always HOSTILE
#define Bool HOSTILE
#define False HOSTILE
#define None HOSTILE
#define Status HOSTILE
#define Success HOSTILE
#define True HOSTILE
#define emit HOSTILE
#define foreach(x, y) HOSTILE
#define major(x) HOSTILE
#define minor(x) HOSTILE
#define signals HOSTILE
#define slots HOSTILE
