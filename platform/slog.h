// Interface of the platform's logging library (libslog.so).
#ifndef PLATFORM_SLOG_H
#define PLATFORM_SLOG_H

#ifdef __cplusplus
extern "C" {
#endif

// 1 when a record of this level would be written for the module, else 0.
int CheckLogLevel(int moduleId, int level);
// The first two format arguments are the calling source file's name and line.
void DlogRecord(int moduleId, int level, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
void DlogFlush(void);

#ifdef __cplusplus
}
#endif

#endif
