#include "interface/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

#include "interface/exchange_test.h"

namespace vam {
namespace {

using ::testing::_;
using ::testing::Throw;

TEST_F(ExchangeTest, Constructor_PrintsTheLineAndOpensNothing) {
  ExpectLine("CA InterfaceSP: command");
  const Exchange exchange("command");
}

TEST_F(ExchangeTest, CallThatNothingExpects_FailsTheTest) {
  EXPECT_NONFATAL_FAILURE(TEEC_FinalizeContext(nullptr), "FinalizeContext");
}

TEST_F(ExchangeTest, Invoke_WithoutRequest_ConstructsNoMarshaller) {
  ExpectOpen("command");
  ExpectInvoke(7);
  ExpectClose();
  EXPECT_EQ(Exchange("command").Open(kTestUuid).Invoke(7), TEEC_SUCCESS);
}

TEST_F(ExchangeTest, Put_SeveralValues_GoesThroughOneMarshaller) {
  const std::uint8_t bytes[] = {1, 2};
  ExpectOpen("command");
  ExpectMarshaller();
  ExpectPutInt(-1);
  ExpectPutUint(0xFFFFFFFF);
  ExpectPutBlob(bytes, 2);
  ExpectInvoke(7);
  ExpectReading();
  ExpectMarshallerDestroyed();
  ExpectClose();
  Exchange exchange("command");
  exchange.Open(kTestUuid).PutInt(-1).PutUint(0xFFFFFFFF).PutBlob(bytes, 2);
  EXPECT_EQ(exchange.Invoke(7), TEEC_SUCCESS);
  exchange.Reply();
}

class RefusedValueTest : public ExchangeTest, public testing::WithParamInterface<int> {};

TEST_P(RefusedValueTest, Invoke_OneValueOfThreeRefused_PutsAllAndInvokesNothing) {
  const std::uint8_t bytes[] = {1, 2};
  ExpectOpen("command");
  ExpectMarshaller();
  ExpectPutInt(-1, GetParam() != 0);
  ExpectPutUint(1, GetParam() != 1);
  ExpectPutBlob(bytes, 2, GetParam() != 2);
  ExpectLine("WSM error");
  ExpectMarshallerDestroyed();
  ExpectClose();
  Exchange exchange("command");
  exchange.Open(kTestUuid).PutInt(-1).PutUint(1).PutBlob(bytes, 2);
  // Nothing was invoked, so nothing prints the line of a failed invocation.
  EXPECT_EQ(exchange.Invoke(7, "failure"), 0xFFFF000B);
}

INSTANTIATE_TEST_SUITE_P(Values, RefusedValueTest, testing::Values(0, 1, 2));

TEST_F(ExchangeTest, Invoke_Fails_PrintsTheFailureLineLast) {
  ExpectOpen("command");
  ExpectInvoke(7, {0xFFFF000E, 3,
                   "TEEC_InvokeCommand() failed for cmd = 7, result = 4294901774, retOrigin = 3"});
  ExpectLine("failure");
  ExpectClose();
  EXPECT_EQ(Exchange("command").Open(kTestUuid).Invoke(7, "failure"), 0xFFFF000E);
}

TEST_F(ExchangeTest, Invoke_Succeeds_PrintsNoFailureLine) {
  ExpectOpen("command");
  ExpectInvoke(7);
  ExpectClose();
  EXPECT_EQ(Exchange("command").Open(kTestUuid).Invoke(7, "failure"), TEEC_SUCCESS);
}

TEST_F(ExchangeTest, Reply_WithoutRequest_ConstructsTheMarshaller) {
  ExpectOpen("command");
  ExpectInvoke(7);
  ExpectMarshaller();
  ExpectReading();
  ExpectGetInt(5);
  ExpectMarshallerDestroyed();
  ExpectClose();
  Exchange exchange("command");
  EXPECT_EQ(exchange.Open(kTestUuid).Invoke(7), TEEC_SUCCESS);
  std::int32_t value = 0;
  EXPECT_TRUE(exchange.Reply().GetInt(&value));
  EXPECT_EQ(value, 5);
}

TEST_F(ExchangeTest, Open_Fails_PutsAndInvokesAnyway) {
  ExpectFailedOpen("command");
  ExpectMarshallerWithoutMemory();
  ExpectPutInt(1);
  ExpectInvoke(7, {0xFFFF0006, 1,
                   "TEEC_InvokeCommand() failed for cmd = 7, result = 4294901766, retOrigin = 1"});
  ExpectMarshallerDestroyed();
  EXPECT_EQ(Exchange("command").Open(kTestUuid).PutInt(1).Invoke(7), 0xFFFF0006);
}

TEST_F(ExchangeTest, Put_MarshallerThrows_ReleasesEverythingInReverse) {
  ExpectOpen("command");
  ExpectMarshaller();
  EXPECT_CALL(platform, PutInt(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_THROW((void)Exchange("command").Open(kTestUuid).PutInt(1).Invoke(7), std::runtime_error);
}

TEST_F(ExchangeTest, Put_MarshallersConstructorThrows_ClosesTheConnection) {
  ExpectOpen("command");
  EXPECT_CALL(platform, ConstructMarshaller(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectClose();
  EXPECT_THROW((void)Exchange("command").Open(kTestUuid).PutInt(1).Invoke(7), std::runtime_error);
}

}  // namespace
}  // namespace vam
