// The checked call against a fake last-error record: which exception, which text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <typeinfo>

#include "ipl/Exception.h"

namespace ipl = plox::ipl;

namespace {

struct FakeRecord {
    std::int32_t code = 0;
    std::string text;
    bool fail_size_query = false;
    bool fail_text_query = false;
    int queries = 0;
};
FakeRecord fake;

PLOX_IPL_RETURN_CODE FakeQuery(std::int32_t* code, char* description, size_t* size) {
    ++fake.queries;
    if (description == nullptr) {
        if (fake.fail_size_query) return PLOX_IPL_RETURN_CODE_ERROR;
        *code = fake.code;
        *size = fake.text.size() + 1;
        return PLOX_IPL_RETURN_CODE_SUCCESS;
    }
    if (fake.fail_text_query) return PLOX_IPL_RETURN_CODE_ERROR;
    *code = fake.code;
    std::memcpy(description, fake.text.c_str(), fake.text.size() + 1);
    return PLOX_IPL_RETURN_CODE_SUCCESS;
}

// Runs a failing call that returned `returned` while the record says `fake`; gives the thrown object.
template <class Caught = ipl::Exception>
std::string RunFailing(PLOX_IPL_RETURN_CODE returned, const std::type_info** thrown = nullptr) {
    try {
        ipl::detail::ExecuteAndMapReturnCodes([&] { return returned; }, &FakeQuery);
    } catch (const Caught& e) {
        if (thrown) *thrown = &typeid(e);
        return e.what();
    }
    ADD_FAILURE() << "nothing thrown";
    return {};
}

class CheckedCall : public ::testing::Test {
protected:
    void SetUp() override { fake = FakeRecord{}; }
};

}  // namespace

TEST_F(CheckedCall, SuccessQueriesNothing) {
    ipl::detail::ExecuteAndMapReturnCodes([] { return PLOX_IPL_RETURN_CODE_SUCCESS; }, &FakeQuery);
    EXPECT_EQ(fake.queries, 0);
}

struct CodeCase {
    std::int32_t code;
    const std::type_info& type;
    const char* name;
};

class CheckedCallCodes : public CheckedCall, public ::testing::WithParamInterface<CodeCase> {};

TEST_P(CheckedCallCodes, RecordChoosesClassAndText) {
    fake.code = GetParam().code;
    fake.text = "abc";
    const std::type_info* thrown = nullptr;
    const std::string message = RunFailing(PLOX_IPL_RETURN_CODE_ERROR, &thrown);
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(*thrown, GetParam().type) << "code " << GetParam().code;
    EXPECT_EQ(message, "[Error-Code: " + std::to_string(GetParam().code) + " (" + GetParam().name +
                           ") | Error-Description: abc]");
}

INSTANTIATE_TEST_SUITE_P(
    AllCodes, CheckedCallCodes,
    ::testing::Values(CodeCase{0, typeid(ipl::Exception), "PLOX_IPL_RETURN_CODE_SUCCESS"},
                      CodeCase{1, typeid(ipl::Exception), "PLOX_IPL_RETURN_CODE_ERROR"},
                      CodeCase{2, typeid(ipl::InvalidHandleException), "PLOX_IPL_RETURN_CODE_INVALID_HANDLE"},
                      CodeCase{3, typeid(ipl::IOException), "PLOX_IPL_RETURN_CODE_IO_ERROR"},
                      CodeCase{4, typeid(ipl::BufferTooSmallException), "PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL"},
                      CodeCase{5, typeid(ipl::InvalidArgumentException), "PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT"},
                      CodeCase{6, typeid(ipl::OutOfRangeException), "PLOX_IPL_RETURN_CODE_OUT_OF_RANGE"},
                      CodeCase{7, typeid(ipl::ImageFormatNotSupportedException),
                               "PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED"},
                      CodeCase{8, typeid(ipl::ImageFormatInterpretationException),
                               "PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR"},
                      CodeCase{9, typeid(ipl::Exception), "PLOX_IPL_RETURN_CODE_NOT_SUPPORTED"},
                      CodeCase{10, typeid(ipl::NotPermittedException), "PLOX_IPL_RETURN_CODE_NOT_PERMITTED"},
                      CodeCase{11, typeid(ipl::BusyException), "PLOX_IPL_RETURN_CODE_BUSY"},
                      CodeCase{12, typeid(ipl::TimeoutException), "PLOX_IPL_RETURN_CODE_TIMEOUT"},
                      CodeCase{42, typeid(ipl::Exception), ""},
                      CodeCase{-1, typeid(ipl::Exception), ""}),
    [](const ::testing::TestParamInfo<CodeCase>& info) {
        return info.param.code < 0 ? std::string("negative") : "code" + std::to_string(info.param.code);
    });

TEST_F(CheckedCall, RecordWinsOverReturnedCode) {
    fake.code = PLOX_IPL_RETURN_CODE_OUT_OF_RANGE;
    fake.text = "x too large";
    const std::type_info* thrown = nullptr;
    const std::string message = RunFailing(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, &thrown);
    EXPECT_EQ(*thrown, typeid(ipl::OutOfRangeException));
    EXPECT_EQ(message.rfind("[Error-Code: 6 (PLOX_IPL_RETURN_CODE_OUT_OF_RANGE) | Error-Description: x too large]", 0),
              0u);
}

TEST_F(CheckedCall, FailingQueryGivesBaseException) {
    for (bool size_fails : {true, false}) {
        fake = FakeRecord{};
        fake.code = PLOX_IPL_RETURN_CODE_IO_ERROR;
        fake.fail_size_query = size_fails;
        fake.fail_text_query = !size_fails;
        const std::type_info* thrown = nullptr;
        EXPECT_EQ(RunFailing(PLOX_IPL_RETURN_CODE_IO_ERROR, &thrown), "Could not query the last error!");
        EXPECT_EQ(*thrown, typeid(ipl::Exception));
    }
}

TEST_F(CheckedCall, SubclassesAreCatchableAsBaseAndRuntimeError) {
    fake.code = PLOX_IPL_RETURN_CODE_BUSY;
    EXPECT_NE(RunFailing<std::runtime_error>(PLOX_IPL_RETURN_CODE_BUSY).find("PLOX_IPL_RETURN_CODE_BUSY"),
              std::string::npos);
    EXPECT_NE(RunFailing<ipl::Exception>(PLOX_IPL_RETURN_CODE_BUSY).find("PLOX_IPL_RETURN_CODE_BUSY"),
              std::string::npos);
}

TEST(ReturnCodeToString, NamesOnlyKnownCodes) {
    EXPECT_EQ(ipl::ReturnCodeToString(0), "PLOX_IPL_RETURN_CODE_SUCCESS");
    EXPECT_EQ(ipl::ReturnCodeToString(12), "PLOX_IPL_RETURN_CODE_TIMEOUT");
    EXPECT_EQ(ipl::ReturnCodeToString(13), "");
    EXPECT_EQ(ipl::ReturnCodeToString(-1), "");
}
