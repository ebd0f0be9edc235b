/* A frontend written in C, for the test that runs it. */
#ifndef C_FRONTEND_H
#define C_FRONTEND_H

#ifdef __cplusplus
extern "C" {
#endif

/* Connects, adds two samples of each kind, waits until the collector has taken them and
 * disconnects. 0, or the number of the step that failed. */
int runCFrontend(void);

#ifdef __cplusplus
}
#endif

#endif
