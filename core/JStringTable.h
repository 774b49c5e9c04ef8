#ifndef JAY_CORE_JSTRINGTABLE_H
#define JAY_CORE_JSTRINGTABLE_H

#include "core/JStringArray.h"
#include "core/JTable.h"

/** A JTable of strings: its rows are JStringArrays, its cells empty strings at first. */
class JAY_API JStringTable : public JTable {
public:
    static const JClass classJStringTable;

    JStringTable();
    JStringTable(int rows, int columns);  ///< so many rows and columns are counted; none is made yet

    /** Copies the counts, and no element: kept. */
    JStringTable(const JStringTable& other);

    /** Copies the counts, and no element: kept. */
    JStringTable& operator=(const JStringTable& other);

    const JClass* getClass() const override;

    /** A row: a JStringArray that counts this table's columns. */
    JObject* create() override;

    /**
     * The row at `row`, made if there is none. A plain row, as an assignment makes them, turns into a
     * JStringArray with the same strings when it is first asked for, so that a cell that is missing in it can
     * be made as a string.
     */
    JStringArray& operator[](int row);
};

static_assert(sizeof(void*) != 4 || sizeof(JStringTable) == 36,
              "instance size is part of the 32-bit contract");

#endif
