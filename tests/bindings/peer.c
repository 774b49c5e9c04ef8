/* A bus client in C for the tests of the other languages' clients; its twin in C++ is peer.cpp.
 *
 *     peer_c ID PORT send DEST COUNT    sends numbered messages, and says "ok" when the server has them
 *     peer_c ID PORT receive COUNT      says "ready", receives as many, checks them, and says "ok"
 *
 * Behind "ok" stand the seconds that it took, from the first message on.
 */
#define _POSIX_C_SOURCE 200809L
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "bus/ca.h"
#include "tests/bindings/workload.h"

enum { HEADER = 16, DEST = 2, SOURCE = 4, PRIORITY = 7, LONGEST = 65535 };

static unsigned char message[LONGEST];

/* Takes the next message into `message`, and returns its length. */
static int wait_for_message(ca_handle bus) {
    int length;
    while ((length = ca_read(bus, message, sizeof message)) == 0)
        poll(NULL, 0, 1); /* ca_read does not wait */
    return length;
}

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static void send_numbered(ca_handle bus, int id, int dest, unsigned number) {
    memset(message, 0, HEADER);
    message[DEST] = (unsigned char)dest;
    message[SOURCE] = (unsigned char)id;
    message[PRIORITY] = 1; /* as what tells that all has arrived: it must not overtake */
    ca_write(bus, message, HEADER + workload_fill(number, message + HEADER));
}

/* A message to ourselves comes back when the server has read what was sent before. */
static void round_trip(ca_handle bus, int id) {
    send_numbered(bus, id, id, 0);
    wait_for_message(bus);
}

static int send_all(ca_handle bus, int id, int dest, unsigned count) {
    const double begin = now();
    unsigned number;
    for (number = 0; number < count; number++) send_numbered(bus, id, dest, number);
    round_trip(bus, id);
    printf("ok %f\n", now() - begin);
    return 0;
}

static int receive_all(ca_handle bus, unsigned count) {
    double begin = 0;
    unsigned number;
    puts("ready");
    fflush(stdout);
    for (number = 0; number < count; number++) {
        const int length = wait_for_message(bus) - HEADER;
        if (number == 0) begin = now();
        if (!workload_fits(number, message + HEADER, length)) {
            printf("message %u is another one\n", number);
            return 1;
        }
    }
    printf("ok %f\n", now() - begin);
    return 0;
}

int main(int argc, char** argv) {
    int id, status = 2;
    ca_handle bus;
    if (argc < 5) return status;
    id = atoi(argv[1]);
    bus = ca_open(id, "127.0.0.1", atoi(argv[2]));
    round_trip(bus, id);
    if (strcmp(argv[3], "send") == 0 && argc == 6) {
        status = send_all(bus, id, atoi(argv[4]), (unsigned)atoi(argv[5]));
    } else if (strcmp(argv[3], "receive") == 0) {
        status = receive_all(bus, (unsigned)atoi(argv[4]));
    }
    ca_close(bus);
    return status;
}
