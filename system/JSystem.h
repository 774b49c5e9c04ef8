#ifndef JAY_SYSTEM_JSYSTEM_H
#define JAY_SYSTEM_JSYSTEM_H

#include <atomic>

#include "core/JObject.h"
#include "core/JString.h"

class JLock;

/**
 * The process-wide services of the library, all of them static: diagnostic output, the clock, sleeping, shell
 * commands and the installation directory. There is nothing to construct: the one instance belongs to the
 * library.
 *
 * Any thread may call any operation, from static constructors and destructors too. Failures are reported by the result.
 * One exception can be thrown: std::bad_alloc, by debug() and printf() when a text of 512 bytes or more finds no memory,
 * and by getHomeDirectory(). An operation that blocks is a cancellation point; a thread cancelled there leaves no lock
 * held and no descriptor open.
 */
class JAY_API JSystem : public JObject {
public:
    static const JClass classJSystem;

    /** Returns &classJSystem. */
    const JClass* getClass() const override;

    // ---- console and debug output, all of it to standard error ----

    /** Bytes shown per line of dump(). */
    static constexpr int MAX_DUMP = 16;

    /**
     * The debug switch, on from the start. Atomic, because every thread reads it without a lock; it orders
     * nothing.
     */
    static std::atomic<bool> _debug;

    /**
     * The output lock. Null until the library's static objects are constructed and again from their destruction at exit
     * on: output is not serialised then. The lock itself is never destroyed. Use lock() and unlock(), which handle null.
     */
    static JLock* _sync;

    /** Switches debug() and dump() on or off for the whole process. */
    static void debug(bool on);

    /**
     * Writes the formatted text, as std::printf would, while the switch is on: no prefix and no newline are
     * added. The texts of two threads are never mixed, and each text leaves in one write. Blocks while
     * standard error does (a full pipe), and all other threads' debug output with it.
     */
    static void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /**
     * Writes the formatted text whatever the switch says, without the output lock and without flushing.
     * Bracket the calls that belong together with lock() and unlock(). Returns the number of bytes written,
     * negative on failure.
     */
    static int printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /**
     * Takes the output lock, so that the calling thread may write several pieces as one block. It is
     * recursive: debug(), dump() and lock() go on working in that thread. Not for code that may be cancelled
     * before it has called unlock().
     */
    static void lock();

    /** Gives back one lock() of the calling thread; without one, nothing happens. */
    static void unlock();

    /** Flushes standard error. */
    static void flush();

    /**
     * Writes a hex dump while the switch is on: MAX_DUMP bytes per line, each as two upper-case digits and a
     * blank, then the same bytes as text, with a dot for what is not printable. A short last line is padded
     * to the text column. An empty line closes every dump; it is all that appears when data is null or len is
     * 0 or less.
     */
    static void dump(const char* data, int len);

    // ---- time ----

    /** The time of day in milliseconds since 1970-01-01 00:00 UTC. It jumps when the clock is set. */
    static long long getMilliseconds();

    /**
     * Sleeps for ms milliseconds: not seconds. Returns 0 when the time has passed, -1 with errno EINTR when a
     * signal handler ended the sleep early, and -1 with errno EINVAL at once when ms is negative.
     */
    static int sleep(int ms);

    /** The same with the time in microseconds. */
    static int usleep(int us);

    // ---- processes ----

    /** The shell that runs commands. */
    static constexpr const char* SHELL_PATH = "/bin/sh";
    /** Mode of exec(): return at once. */
    static constexpr int EXEC_NOWAIT = 0;
    /** Mode of exec(): wait for the command's end. */
    static constexpr int EXEC_WAIT = 1;

    /**
     * Runs a command through the shell. The child inherits the environment, every descriptor that is not
     * close-on-exec, and the calling thread's signal mask.
     *
     * @param mode  EXEC_WAIT waits for the command; every other value does not.
     * @return -1 when command is null or no process could be made. Without waiting: the child's pid, for
     * pstatus(). With EXEC_WAIT: 0 when the command's exit code was 0, else -1. A command killed by a signal
     * has no exit code and gives 0 as well (kept: callers rely on it). It is -1, too, when the child's status
     * cannot be had, because the application waits for its children or ignores SIGCHLD.
     *
     * Waiting reaps every child of the process that ends meanwhile, and the statuses of the others are lost:
     * pstatus() will not see them (kept: callers rely on it). Only the other threads that wait in exec() get
     * theirs. The end is noticed within 100 ms. A thread cancelled while it waits leaves the command running.
     */
    static int exec(const char* command, int mode);

    /**
     * Looks, without blocking, whether a child has ended, and reaps it.
     *
     * @param exitCode  receives the exit code of a child that ended by itself; unchanged in every other case.
     * May be null.
     * @return the pid when the child has ended (by a signal, too), 0 when it has not or is no child of this
     * process.
     */
    static int pstatus(int pid, int* exitCode);

    /**
     * Converts the ASCII letters of s in place and returns s, which may be null. Bytes of 128 and above,
     * parts of double-byte characters, stay as they are.
     */
    static char* lcase(char* s);
    static char* ucase(char* s);

    /**
     * The parent of the directory that holds the programs, /bin, without a closing slash: "" where /bin is a
     * directory, "/usr" where it is a link to usr/bin (kept: database files are found by it). The current directory
     * does not matter and does not change.
     */
    static JString getHomeDirectory();

    // ---- character encodings: one character per call; the caller loops ----

    /**
     * Decodes one UTF-8 character, of up to six bytes as UTF-8 was first defined: values up to 0x7FFFFFFF, surrogates included.
     *
     * @param wc receives the value; unchanged unless a character was decoded.
     * @param n  how many bytes may be read at `s`.
     * @return the bytes used, 1 to 6; 0 when `n` is smaller than what the first byte announces (whatever follows it) or below
     * 1; -1 for an invalid sequence, an overlong one included.
     */
    static int mbtowc(unsigned long* wc, unsigned char* s, int n);

    /**
     * Encodes one character as UTF-8.
     *
     * @param r receives the bytes, not terminated. @param n how many bytes there is room for.
     * @return the bytes written, 1 to 6; 0, writing nothing, when `n` is too small; -1 when wc is 0x80000000 or more.
     */
    static int wctomb(unsigned char* r, int n, unsigned long wc);

    /**
     * Decodes one character of Korean double-byte text (EUC-KR with the extension of code page 949) to Unicode. The user-defined
     * rows 0xC9 and 0xFE give the Private Use Area from U+E000. Pairs with a trail byte below 0x80 are not decoded (kept).
     *
     * @param wc receives the value; '?' for a pair that is invalid or not defined.
     * @param s  the bytes; two must be readable when the first is 0x80 or more.
     * @param n  not looked at (kept).
     * @return the bytes used: 1 below 0x80, otherwise 2, for an invalid pair too.
     */
    static int kstowc(unsigned short* wc, unsigned char* s, int n);

    /** Do nothing: kept, programs call them. */
    static void C2W(JString& text, JByte& wide);
    static void W2C(unsigned short* wide, JString& text);

    /** Self-check: builds the path of a file in the home directory and drops it. */
    static void Test();

private:
    JAY_HIDDEN JSystem();
    ~JSystem() override;

    JAY_HIDDEN static JSystem _instance;
};

#endif
