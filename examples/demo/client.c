/* A bus client in C that reads from standard input what to send, and writes what it receives to standard output, line by
 * line. The demonstration and the tests use it. client.cpp does the same in C++ and describes the lines. This client does not
 * notice a lost connection, because the C interface does not report it. Usage: demo_client_c ID PORT
 */
#define _POSIX_C_SOURCE 200809L
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "bus/ca.h"

enum { HEADER = 16, LONGEST = 65535, LOOK_UP_MS = 5 };

/* Where the fields of a message are. */
enum { LENGTH = 0, DEST = 2, SRC = 4, FLAG = 6, PRIORITY = 7, STAMP = 8, SECTION = 12 };

static unsigned number_at(const unsigned char* at, int bytes) {
    unsigned value = 0;
    while (bytes-- > 0) value = value << 8 | at[bytes];
    return value;
}

static void put_number(unsigned char* at, int bytes, unsigned value) {
    int i;
    for (i = 0; i < bytes; i++) at[i] = (unsigned char)(value >> (8 * i));
}

static int digit(char c) {
    static const char digits[] = "0123456789abcdef";
    const char* at = c != '\0' ? strchr(digits, c) : NULL;
    return at != NULL ? (int)(at - digits) : -1;
}

/* Bytes written to `to`, which has room for LONGEST - HEADER of them. */
static int from_hex(const char* hex, unsigned char* to) {
    int n = 0;
    for (; n < LONGEST - HEADER && digit(hex[0]) >= 0 && digit(hex[1]) >= 0; hex += 2)
        to[n++] = (unsigned char)(digit(hex[0]) << 4 | digit(hex[1]));
    return n;
}

static void print(const unsigned char* message, int length) {
    int i;
    printf("got %u %u %d %d %d %u %u ", number_at(message + SRC, 2), number_at(message + DEST, 2),
           message[FLAG], message[PRIORITY], (int)number_at(message + SECTION, 4),
           number_at(message + STAMP, 4), number_at(message + LENGTH, 2));
    for (i = HEADER; i < length; i++) printf("%02x", message[i]);
    puts(length > HEADER ? "" : "-");
    fflush(stdout);
}

static void obey(ca_handle bus, int id, const char* line) {
    static unsigned char message[LONGEST];
    int dest, flag, priority, section, payload_at, length;
    unsigned stamp;
    if (sscanf(line, "send %d %d %d %d %u %n", &dest, &flag, &priority, &section, &stamp, &payload_at) != 5) {
        fprintf(stderr, "demo_client_c: what is '%s'?\n", line);
        return;
    }
    memset(message, 0, HEADER);
    put_number(message + DEST, 2, (unsigned)dest);
    put_number(message + SRC, 2, (unsigned)id);
    put_number(message + FLAG, 1, (unsigned)flag);
    put_number(message + PRIORITY, 1, (unsigned)priority);
    put_number(message + STAMP, 4, stamp);
    put_number(message + SECTION, 4, (unsigned)section);
    length = HEADER + from_hex(line + payload_at, message + HEADER);
    ca_write(bus, message, length);
}

/* Executes the commands that can be read from standard input now; returns 0 at the end of the input. */
static int obey_input(ca_handle bus, int id) {
    static char lines[4 * LONGEST];
    static size_t filled;
    char *start = lines, *end;
    const ssize_t n = read(STDIN_FILENO, lines + filled, sizeof lines - filled);
    if (n <= 0) return 0;
    filled += (size_t)n;
    while ((end = memchr(start, '\n', filled - (size_t)(start - lines))) != NULL) {
        *end = '\0';
        obey(bus, id, start);
        start = end + 1;
    }
    filled -= (size_t)(start - lines);
    memmove(lines, start, filled);
    return 1;
}

int main(int argc, char** argv) {
    static unsigned char message[LONGEST];
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    ca_handle bus;
    int id, length, more = 1;
    if (argc != 3) {
        fputs("usage: demo_client_c ID PORT\n", stderr);
        return 2;
    }
    id = atoi(argv[1]);
    bus = ca_open(id, "127.0.0.1", atoi(argv[2]));
    while (more) {
        while ((length = ca_read(bus, message, sizeof message)) > 0) print(message, length);
        if (poll(&input, 1, LOOK_UP_MS) > 0) more = obey_input(bus, id);
    }
    ca_close(bus);
    return 0;
}
