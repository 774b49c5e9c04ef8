/* Client 7, in C: waits for one message, for at most 5 seconds, and prints it.
 *
 *     cc -std=c99 hello_receiver.c $(pkg-config --cflags --libs jay) -o hello_receiver
 *     ./hello_receiver [PORT]      (while a server runs: jayd)
 */
#define _POSIX_C_SOURCE 200809L /* nanosleep */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "bus/ca.h"

enum { OUR_ID = 7, HEADER = 16, SOURCE = 4, PATIENCE_MS = 5000, PAUSE_MS = 5 };

/* ca_read does not wait, so a program that waits calls it from time to time. Returns the length of the message, or 0 if none
 * has come. The limit also ends the program when the connection is lost, which no function reports. */
static int wait_for_message(ca_handle bus, unsigned char* message, int size) {
    const struct timespec pause = {0, PAUSE_MS * 1000000L};
    int waited, length = 0;
    for (waited = 0; waited < PATIENCE_MS && length <= 0; waited += PAUSE_MS) {
        length = ca_read(bus, message, size);
        if (length <= 0) nanosleep(&pause, NULL);
    }
    return length;
}

int main(int argc, char** argv) {
    static unsigned char message[65536]; /* no message is longer */
    const int port = argc > 1 ? atoi(argv[1]) : 23117;
    const ca_handle bus = ca_open(OUR_ID, "127.0.0.1", port);
    const int length = wait_for_message(bus, message, sizeof message);

    ca_close(bus);
    if (length <= HEADER) {
        fprintf(stderr, "no message came within %d seconds\n", PATIENCE_MS / 1000);
        return 1;
    }
    /* Numbers are little-endian. A string is its length, one byte if it is below 254, and then its bytes. */
    const int source = message[SOURCE] | message[SOURCE + 1] << 8;
    int text_length = message[HEADER];
    if (text_length > length - HEADER - 1) text_length = length - HEADER - 1;
    printf("client %d says: %.*s\n", source, text_length, (const char*)message + HEADER + 1);
    return 0;
}
