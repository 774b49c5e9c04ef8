#ifndef JAY_CORE_JTABLE_H
#define JAY_CORE_JTABLE_H

#include "core/JObjectArray.h"
#include "core/JSize.h"

/**
 * A table: an array of row arrays, which, with their cells, are made when they are first read:
 *
 *     JStringTable table;
 *     table[2][4] = "x";      // getRows() 3, getColumns() 5
 *
 * The two counts only record the largest number of rows, and of cells in any row, that were reached or set;
 * they do not limit anything. Copying a table copies the counts and no cell (kept: callers rely on it);
 * assigning copies both, but the rows made by an assignment do not raise the column count.
 */
class JAY_API JTable : public JObjectArray {
public:
    static const JClass classJTable;

    JTable();

    /** Sets the counts; no row is made. */
    JTable(int rows, int columns);

    /** Copies the counts but no element (kept: callers rely on it). */
    JTable(const JTable& other);

    /** Clones the other's rows as plain JObjectArrays of clones, then copies the counts. */
    JTable& operator=(const JTable& other);

    /** A new table with the same counts and no element. The caller owns it. */
    JObject* clone() override;

    const JClass* getClass() const override;

    /** A new row: a JObjectArray whose length raises this table's column count. The caller owns it. */
    JObject* create() override;

    /** The row at `row`, made if there is none, with every slot before it. */
    JObjectArray& operator[](int row);

    int getRows() const;     ///< see resize(); more when a row behind it was made
    int getColumns() const;  ///< see resize(); more when a cell behind it was made

    /** Sets the counts and changes nothing else. */
    void resize(int rows, int columns);

    using JObjectArray::resize;

protected:
    JSize rows;     ///< counts the rows
    JSize columns;  ///< counts the columns of every row
};

static_assert(sizeof(void*) != 4 || sizeof(JTable) == 36, "instance size is part of the 32-bit contract");

#endif
