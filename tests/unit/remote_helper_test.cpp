// The helper process's messages: every operation through a loopback channel gives what the
// in-process helper gives on the same machine, and a malformed request runs nothing.
#include "libs/talelev/remote_helper.h"

#include <gtest/gtest.h>

#include <functional>

#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"

namespace {

using platform::kHkeyCurrentUser;
using namespace talelev;

// Serves each request at once on an in-process helper, as the helper process does.
class Loopback : public IHelperChannel {
  public:
    explicit Loopback(bool* broken = nullptr) : broken_(broken) {}
    bool Exchange(const std::string& request, std::string* answer) override {
        if (broken_ && *broken_) return false;
        IElevatedHelper* helper = nullptr;
        CElevatedHelperFactory::CreateInProcessHelper({}, &helper);
        bool release = false;
        *answer = ServeHelperRequest(*helper, request, &release);
        helper->Release();
        return true;
    }

  private:
    bool* broken_;
};

// A fresh machine with a few keys, values, files and processes.
struct Fixture {
    Fixture() {
        machine.SetString(kHkeyCurrentUser, u"T", u"s", u"text");
        machine.SetRaw(kHkeyCurrentUser, u"T", std::u16string(u"h\0x", 3), platform::kRegSz, "ab");
        machine.AddKey(kHkeyCurrentUser, u"T\\Sub\\Deep");
        machine.AddFile(u"C:\\x\\a.txt", "a");
        machine.AddProcess(1234, u"C:\\app\\a.exe");
        machine.FailWrites(kHkeyCurrentUser, u"Locked");
    }
    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
};

std::string Describe(std::int32_t status, const std::vector<std::u16string>& texts = {},
                     const std::vector<std::uint8_t>& data = {}, std::uint32_t number = 0) {
    std::string text = std::to_string(status) + " n=" + std::to_string(number) + " d=";
    text.append(data.begin(), data.end());
    for (const std::u16string& t : texts) text += " [" + talutils::ToUtf8(t) + "]";
    return text;
}

using Machine = platform::memory::MemoryMachine;
using Operation = std::function<std::string(IElevatedHelper&, Machine&)>;

TEST(RemoteHelper, EveryOperationGivesWhatTheInProcessHelperGives) {
    const platform::RegKey hkcu = kHkeyCurrentUser;
    const std::u16string hidden(u"h\0x", 3);
    // Each group runs its calls in order on a fresh machine; every status and output is kept.
    const std::vector<std::pair<const char*, Operation>> operations = {
        {"registry",
         [&](IElevatedHelper& h, Machine&) {
             std::vector<std::u16string> keys, names;
             std::vector<std::uint8_t> data{1};
             std::uint32_t type = 9;
             std::string out = Describe(h.Reg_EnumKeys(hkcu, u"T", keys), keys);
             out += Describe(h.Reg_QueryValue(hkcu, u"T", u"none", &type, data), {}, data, type);
             out += Describe(h.Reg_OpenTest(hkcu, u"T\\Sub", platform::kKeyRead));
             out += Describe(h.Reg_DeleteKey(hkcu, u"T\\Sub"));
             out += Describe(h.Reg_DeleteKey(hkcu, u""));
             out += Describe(h.Reg_DeleteValue(hkcu, u"T", hidden));
             out += Describe(h.Reg_EnumValues(hkcu, u"T", names), names);
             out += Describe(h.Reg_SetValue(hkcu, u"New\\K", u"v", "xyz", 3, 3, 1));
             out += Describe(h.Reg_QueryValue(hkcu, u"New\\K", u"v", &type, data), {}, data, type);
             out += Describe(h.Reg_SetValue(hkcu, u"T", u"v", nullptr, 4, 3, 0));
             out += Describe(h.Reg_SetValue(hkcu, u"T", u"v", "x", -1, 3, 0));
             out += Describe(h.Reg_SetValue(hkcu, u"Missing", u"v", "x", 1, 3, 0));
             out += Describe(h.Reg_SetValue(hkcu, u"Locked", u"v", "x", 1, 3, 0));
             out += Describe(h.Reg_CreateKey(hkcu, u"A\\B"));
             out += Describe(h.Reg_DeleteTree(hkcu, u"T"));
             return out + Describe(h.Reg_OpenTest(hkcu, u"A\\B", platform::kKeyRead));
         }},
        {"processes and files",
         [&](IElevatedHelper& h, Machine& m) {
             std::vector<std::u16string> modules;
             std::u16string image;
             std::vector<std::uint32_t> ids;
             std::string out = Describe(h.Proc_Enum(ids), {}, {}, std::uint32_t(ids.size()));
             out += Describe(h.Proc_EnumModules(1234, modules), modules);
             out += Describe(h.Proc_GetImagePath(1234, image), {image});
             out += Describe(h.Proc_Kill(1234)) + Describe(h.Proc_Kill(999));
             out += Describe(h.IsElevated());
             platform::ShellExecuteInfo info;
             info.cbSize = sizeof info;
             info.lpFile = u"regedit.exe";
             info.lpParameters = u"/m";
             info.nShow = 5;
             std::uint32_t id = 77;
             out += Describe(h.Proc_Create(&info, &id), {}, {}, id);
             for (const platform::memory::StartedProcess& p : m.Started())
                 out += Describe(p.show, {p.file, p.parameters}, {}, p.mask);
             info.cbSize = 0;
             out += Describe(h.Proc_Create(&info, &id));
             out += Describe(h.File_Delete(u"C:\\x\\a.txt"));
             return out + Describe(h.File_Delete(u"C:\\x\\a.txt"));
         }},
    };
    for (const auto& [name, operation] : operations) {
        std::string out[2];  // in-process, remote
        for (int remote : {0, 1}) {
            Fixture f;
            IElevatedHelper* helper = nullptr;
            if (remote)
                helper = new CRemoteHelper(std::make_unique<Loopback>());
            else
                ASSERT_EQ(CElevatedHelperFactory::CreateInProcessHelper({}, &helper), 0);
            out[remote] = operation(*helper, f.machine);
            helper->Release();
        }
        EXPECT_EQ(out[1], out[0]) << name;
    }
}

TEST(RemoteHelper, MalformedRequestsGetAnErrorAndRunNothing) {
    Fixture f;
    HelperRequest request;
    request.op = HelperOp::kRegDeleteKey;
    request.root = kHkeyCurrentUser;
    request.keyPath = u"T";
    const std::string good = EncodeRequest(request);
    std::string badRoot = good;
    badRoot[4] = 0x09;
    std::string unknown = good;
    unknown[0] = 99;
    std::string oddText = good;
    oddText[8] = 3;
    // A write whose size claims more than the bytes that came.
    request.op = HelperOp::kRegSetValue;
    request.sizeInBytes = 4;
    request.hasData = true;
    request.data = {'a', 'b', 'c', 'd'};
    std::string shortData = EncodeRequest(request);
    shortData[shortData.size() - 20] = 100;  // the size's low byte
    const struct {
        const char* name;
        std::string bytes;
        std::int32_t status;
    } cases[] = {
        {"empty", "", kHelperMalformed},
        {"short", good.substr(0, 3), kHelperMalformed},
        {"truncated", good.substr(0, good.size() - 1), kHelperMalformed},
        {"trailing", good + "x", kHelperMalformed},
        {"count past the end", good.substr(0, 8) + "\xff\xff\xff\x7f", kHelperMalformed},
        {"odd text", oddText.substr(0, 12) + "abc", kHelperMalformed},
        {"bad root", badRoot, kHelperMalformed},
        {"unknown", unknown, kHelperUnknownOp},
        {"size past the data", shortData, kHelperMalformed},
        {"oversized", good + std::string(kMaxHelperMessageBytes, 'x'), kHelperTooLarge},
    };
    IElevatedHelper* helper = nullptr;
    ASSERT_EQ(CElevatedHelperFactory::CreateInProcessHelper({}, &helper), 0);
    for (const auto& c : cases) {
        bool release = true;
        HelperAnswer answer;
        ASSERT_TRUE(DecodeAnswer(HelperOp::kRegDeleteKey,
                                 ServeHelperRequest(*helper, c.bytes, &release), &answer))
            << c.name;
        EXPECT_EQ(answer.status, c.status) << c.name;
        EXPECT_FALSE(release) << c.name;
        EXPECT_TRUE(f.machine.HasKey(kHkeyCurrentUser, u"T")) << c.name;
    }
    helper->Release();
}

TEST(RemoteHelper, ABrokenChannelOrAMalformedAnswerFailsWithEmptyOutputs) {
    Fixture f;
    bool broken = true;
    IElevatedHelper* helper = new CRemoteHelper(std::make_unique<Loopback>(&broken));
    std::vector<std::u16string> names{u"stale"};
    EXPECT_EQ(helper->Reg_EnumValues(kHkeyCurrentUser, u"T", names), kHelperBrokenPipe);
    EXPECT_TRUE(names.empty());
    EXPECT_FALSE(helper->IsElevated());
    helper->Release();

    HelperAnswer answer;
    answer.texts = {u"a", u"b"};
    const std::string reply = EncodeAnswer(HelperOp::kRegEnumKeys, answer);
    EXPECT_TRUE(DecodeAnswer(HelperOp::kRegEnumKeys, reply, &answer));
    EXPECT_FALSE(DecodeAnswer(HelperOp::kRegEnumKeys, reply.substr(0, reply.size() - 1), &answer));
    EXPECT_TRUE(answer.texts.empty());
    // A count that the bytes can't hold is refused before anything is reserved for it.
    EXPECT_FALSE(
        DecodeAnswer(HelperOp::kProcEnum, std::string(4, '\0') + "\xff\xff\xff\xff", &answer));
}

}  // namespace
