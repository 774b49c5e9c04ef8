#include <gtest/gtest.h>
#include <memory>

#include "bus/CA.h"
#include "bus/CM.h"
#include "bus/LQ.h"
#include "bus/MQ.h"
#include "bus/SA.h"
#include "bus/SM.h"

namespace {

void expectRecord(const JObject& object, const JClass& record, const char* name, std::size_t size) {
    EXPECT_EQ(object.getClass(), &record) << name;
    EXPECT_STREQ(record.name, name);
    EXPECT_EQ(record.size, static_cast<int>(size)) << name;
    EXPECT_EQ(record.superclass, &JObject::classJObject) << name;
}

TEST(ClassRecords, EveryClassOfTheBusWithARecordOfItsOwnReturnsIt) {
    SM manager(1);
    SA agent(&manager, 5);
    const std::unique_ptr<SA::SAReader> reader(new SA::SAReader(&agent));
    const CM listener(&manager, 1);
    const CA client(5, "127.0.0.1", 1);
    const MQ inbound(&manager);
    const LQ outbound(&agent);
    expectRecord(manager, SM::classSM, "SM", sizeof(SM));
    expectRecord(agent, SA::classSA, "SA", sizeof(SA));
    expectRecord(*reader, SA::SAReader::classSAReader, "SAReader", sizeof(SA::SAReader));
    expectRecord(listener, CM::classCM, "CM", sizeof(CM));
    expectRecord(client, CA::classCA, "CA", sizeof(CA));
    expectRecord(inbound, MQ::classMQ, "MQ", sizeof(MQ));
    expectRecord(outbound, LQ::classLQ, "LQ", sizeof(LQ));
}

TEST(ClassRecords, AThreadOfTheBusReturnsItsRecordThroughBothBases) {
    SM manager(1);
    const JThread& thread = manager;
    const JObject& object = manager;
    EXPECT_EQ(thread.getClass(), &SM::classSM);
    EXPECT_EQ(object.getClass(), &SM::classSM);
}

}  // namespace
