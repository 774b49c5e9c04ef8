#include "core/JStringTable.h"

#include <algorithm>
#include <memory>

const JClass JStringTable::classJStringTable = {"JStringTable", sizeof(JStringTable), &JTable::classJTable};

JStringTable::JStringTable() = default;
JStringTable::JStringTable(int rowCount, int columnCount) : JTable(rowCount, columnCount) {
}
JStringTable::JStringTable(const JStringTable& other) = default;

JStringTable& JStringTable::operator=(const JStringTable& other) {
    JTable::operator=(other);
    return *this;
}

const JClass* JStringTable::getClass() const {
    return &classJStringTable;
}

JObject* JStringTable::create() {
    return new JStringArray(&columns);
}

JStringArray& JStringTable::operator[](int row) {
    JObjectArray& found = JTable::operator[](row);
    if (auto* strings = dynamic_cast<JStringArray*>(&found)) return *strings;
    auto strings = std::make_unique<JStringArray>();
    *strings = found;
    replace(std::max(row, 0), strings.get());
    return *strings.release();
}
