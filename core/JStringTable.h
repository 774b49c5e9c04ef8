#ifndef JAY_CORE_JSTRINGTABLE_H
#define JAY_CORE_JSTRINGTABLE_H

#include "core/JStringArray.h"
#include "core/JTable.h"

/** A JTable of strings: its rows are JStringArrays, its cells empty strings at first. */
class JAY_API JStringTable : public JTable {
public:
    static const JClass classJStringTable;

    JStringTable();
    JStringTable(int rows, int columns);  ///< sets the counts; no row is made

    /** Copies the counts but no element (kept: callers rely on it). */
    JStringTable(const JStringTable& other);

    /**
     * Takes over copies of the other's rows and strings, and its counts. The class record of such a row is
     * JObjectArray's, and the row does not raise the column count (kept: callers rely on it); its cells are strings, missing
     * ones too. Always assign through this operator: an assignment through a reference to a base class makes rows
     * that are no JStringArray.
     */
    JStringTable& operator=(const JStringTable& other);

    const JClass* getClass() const override;

    /** A new row: a JStringArray whose length raises this table's column count. The caller owns it. */
    JObject* create() override;

    /** The row at `row`, made if there is none, with every slot before it. Valid until the row is deleted. */
    JStringArray& operator[](int row);
};

static_assert(sizeof(void*) != 4 || sizeof(JStringTable) == 36,
              "instance size is part of the 32-bit contract");

#endif
