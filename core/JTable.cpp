#include "core/JTable.h"

const JClass JTable::classJTable = {"JTable", sizeof(JTable), &JObjectArray::classJObjectArray};

JTable::JTable() : JTable(0, 0) {
}

JTable::JTable(int rowCount, int columnCount) : JObjectArray(&rows) {
    resize(rowCount, columnCount);
}

// The base part starts empty: only the counts are copied.
JTable::JTable(const JTable& other) : JTable(other.getRows(), other.getColumns()) {
}

JTable& JTable::operator=(const JTable& other) {
    JObjectArray::operator=(other);
    resize(other.getRows(), other.getColumns());
    return *this;
}

JObject* JTable::clone() {
    return new JTable(*this);
}

const JClass* JTable::getClass() const {
    return &classJTable;
}

JObject* JTable::create() {
    return new JObjectArray(&columns);
}

JObjectArray& JTable::operator[](int row) {
    return static_cast<JObjectArray&>(JObjectArray::operator[](row));
}

int JTable::getRows() const {
    return rows.size();
}
int JTable::getColumns() const {
    return columns.size();
}

void JTable::resize(int rowCount, int columnCount) {
    rows.size(rowCount);
    columns.size(columnCount);
}
