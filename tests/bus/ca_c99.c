/* A bus client in plain C99, compiled and linked by the C compiler, against a server that is nothing but a socket. */
#define _POSIX_C_SOURCE 200112L

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "bus/ca.h"

#define CHECK(condition)                                                                   \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            exit(1);                                                                       \
        }                                                                                  \
    } while (0)

enum { HEADER = 16 };

static int word_at(const unsigned char* bytes, int at) {
    return bytes[at] | bytes[at + 1] << 8;
}

/* A message from client 5 to client 7, as a program in C builds it. */
static int hello(unsigned char* message) {
    memset(message, 0, HEADER);
    message[2] = 7;
    message[4] = 5;
    message[7] = 1;
    message[HEADER] = 5;
    memcpy(message + HEADER + 1, "hello", 5);
    return HEADER + 6;
}

static int listen_anywhere(int* port) {
    struct sockaddr_in address;
    socklen_t size = sizeof address;
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    CHECK(bind(listener, (const struct sockaddr*)&address, sizeof address) == 0);
    CHECK(listen(listener, 1) == 0);
    CHECK(getsockname(listener, (struct sockaddr*)&address, &size) == 0);
    *port = ntohs(address.sin_port);
    return listener;
}

static int accept_one(int listener) {
    const struct timeval limit = {30, 0};
    const int server = accept(listener, NULL, NULL);
    CHECK(server >= 0);
    CHECK(setsockopt(server, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0);
    return server;
}

static void receive(int server, void* bytes, int n) {
    CHECK(recv(server, bytes, (size_t)n, MSG_WAITALL) == n);
}

/* Waits, for half a minute at most, for a message to be there. */
static int wait_for_message(ca_handle client, void* buffer, int size) {
    const struct timespec pause = {0, 1000000};
    int n = 0;
    int i;
    for (i = 0; n == 0 && i < 30000; i++) {
        n = ca_peek(client, buffer, size);
        if (n == 0) nanosleep(&pause, NULL);
    }
    return n;
}

static void null_handles_do_nothing(void) {
    char bytes[HEADER];
    CHECK(ca_write(NULL, bytes, HEADER) == -1);
    CHECK(ca_read(NULL, bytes, HEADER) == -1);
    CHECK(ca_peek(NULL, bytes, HEADER) == -1);
    ca_next(NULL);
    ca_close(NULL);
}

static void greets(int server) {
    unsigned char greeting[HEADER];
    receive(server, greeting, HEADER);
    CHECK(word_at(greeting, 0) == HEADER);
    CHECK(word_at(greeting, 2) == 0);
    CHECK(word_at(greeting, 4) == 5);
    CHECK(word_at(greeting, 6) == 0);
}

static void writes(ca_handle client, int server) {
    unsigned char message[64];
    unsigned char sent[64];
    const int n = hello(message);
    CHECK(ca_write(client, message, 7) == 0);
    CHECK(ca_write(client, NULL, n) == 0);
    CHECK(ca_write(client, message, n) == n);
    receive(server, sent, n);
    CHECK(memcmp(sent, message, (size_t)n) == 0);
    CHECK(word_at(sent, 0) == n);
    CHECK(memcmp(sent + HEADER + 1, "hello", 5) == 0);
}

static void reads(ca_handle client, int server) {
    unsigned char message[64];
    unsigned char got[64];
    const int n = hello(message);
    message[0] = (unsigned char)n;
    CHECK(ca_read(client, got, sizeof got) == 0);
    CHECK(send(server, message, (size_t)n, MSG_NOSIGNAL) == n);
    CHECK(wait_for_message(client, got, sizeof got) == n);
    CHECK(memcmp(got, message, (size_t)n) == 0);
    ca_next(client);
    CHECK(ca_peek(client, got, 10) == 10);
    CHECK(ca_read(client, got, sizeof got) == n);
    CHECK(memcmp(got, message, (size_t)n) == 0);
    CHECK(ca_read(client, got, sizeof got) == 0);
    ca_dump((const char*)got, n);
}

static void closes(ca_handle client, int server) {
    char c;
    ca_close(client);
    CHECK(recv(server, &c, 1, 0) <= 0);
}

int main(void) {
    int port = 0;
    const int listener = listen_anywhere(&port);
    const ca_handle client = ca_open(5, "127.0.0.1", port);
    int server = -1;
    CHECK(client != NULL);
    server = accept_one(listener);
    null_handles_do_nothing();
    greets(server);
    writes(client, server);
    reads(client, server);
    closes(client, server);
    close(server);
    close(listener);
    return 0;
}
