#ifndef JAY_TOOLS_JAY_IDCLAIMS_H
#define JAY_TOOLS_JAY_IDCLAIMS_H

#include <vector>

/**
 * The client ids that the `jay` processes of this machine use. A connection with an id takes it from whoever has it, and the wire
 * protocol does not tell which ids are connected; so a command to which no id is given takes one that applications leave alone, and
 * that no other jay uses.
 *
 * A claim is a local socket with a name made of port and id. It ends with this object, or with the process however that ends.
 */
class IdClaims {
public:
    /** Ids from this to the highest are for commands to which none is given. */
    static constexpr int FIRST_SPARE = 24;

    explicit IdClaims(int port) : port_(port) {}
    ~IdClaims();
    IdClaims(const IdClaims&) = delete;
    IdClaims& operator=(const IdClaims&) = delete;

    /** @return false when another process has the id. */
    bool claim(int id);

    /** Claims the highest spare ids that are free. @return fewer ids than wanted when there are no more. */
    std::vector<int> claimSpare(std::size_t wanted);

private:
    const int port_;
    std::vector<int> sockets_;
};

#endif
