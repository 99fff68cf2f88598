// Interface of the platform's messaging library easy_comm (libeasy_comm.so.1).
#ifndef PLATFORM_EASY_COMM_H
#define PLATFORM_EASY_COMM_H

#ifdef __cplusplus
extern "C" {
#endif

// Records owned by the library; callers only pass pointers to them.
typedef struct EzcomRequest EzcomRequest;
typedef struct EzcomResponse EzcomResponse;

#define EZCOM_TRANSIENT_BUSY (-11)   // call again later (-EAGAIN)
#define EZCOM_CLOSE_PIPE_BUSY (-16)  // pipe still in use (-EBUSY)

int EzcomCfgFinishServer(void);
int EzcomSendRequest(int pipe, const EzcomRequest* request);
int EzcomSendResponse(int pipe, const EzcomResponse* response);
int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response);
int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout);
int EzcomClosePipe(int pipe);

#ifdef __cplusplus
}
#endif

#endif
