#include "libs/talelev/helper_protocol.h"

#include <cstring>
#include <limits>

namespace talelev {
namespace {

constexpr std::uint32_t kFirstRoot = 0x80000000u;
constexpr std::uint32_t kLastRoot = 0x80000005u;

class Writer {
  public:
    void U32(std::uint32_t value) {
        for (int i = 0; i < 4; ++i) out_.push_back(static_cast<char>(value >> (8 * i)));
    }
    void I64(std::int64_t value) {
        const auto bits = static_cast<std::uint64_t>(value);
        U32(static_cast<std::uint32_t>(bits));
        U32(static_cast<std::uint32_t>(bits >> 32));
    }
    void Blob(const void* data, std::size_t bytes) {
        U32(static_cast<std::uint32_t>(bytes));
        out_.append(static_cast<const char*>(data), bytes);
    }
    void Text(const std::u16string& text) { Blob(text.data(), text.size() * 2); }
    void Root(platform::RegKey root) {
        U32(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(root)));
    }
    std::string Take() { return std::move(out_); }

  private:
    std::string out_;
};

// Reads fields front to back; after the first field that doesn't fit, everything is empty and
// ok() stays false.
class Reader {
  public:
    explicit Reader(std::string_view in) : in_(in) {}
    std::uint32_t U32() {
        if (!Need(4)) return 0;
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(in_[i])) << (8 * i);
        in_.remove_prefix(4);
        return value;
    }
    std::int64_t I64() {
        const std::uint64_t low = U32();
        const std::uint64_t high = U32();
        return static_cast<std::int64_t>(high << 32 | low);
    }
    std::string_view Blob() {
        const std::uint32_t bytes = U32();
        if (!Need(bytes)) return {};
        std::string_view blob = in_.substr(0, bytes);
        in_.remove_prefix(bytes);
        return blob;
    }
    std::u16string Text() {
        const std::string_view bytes = Blob();
        if (bytes.size() % 2 != 0) ok_ = false;
        if (!ok_) return {};
        std::u16string text(bytes.size() / 2, u'\0');
        std::memcpy(text.data(), bytes.data(), bytes.size());
        return text;
    }
    platform::RegKey Root() {
        const std::uint32_t value = U32();
        if (value < kFirstRoot || value > kLastRoot) ok_ = false;
        return ok_ ? platform::PredefinedKey(value) : nullptr;
    }
    // A count of items that each take at least minBytes: more than the rest can hold is a lie.
    std::uint32_t Count(std::size_t minBytes) {
        const std::uint32_t count = U32();
        if (count > in_.size() / minBytes) ok_ = false;
        return ok_ ? count : 0;
    }
    bool Finished() const { return ok_ && in_.empty(); }

  private:
    bool Need(std::size_t bytes) {
        if (ok_ && in_.size() >= bytes) return true;
        ok_ = false;
        in_ = {};
        return false;
    }
    std::string_view in_;
    bool ok_ = true;
};

bool IsKnown(std::uint32_t op) {
    return op >= static_cast<std::uint32_t>(HelperOp::kRegDeleteKey) &&
           op <= static_cast<std::uint32_t>(HelperOp::kRelease);
}

}  // namespace

std::string EncodeRequest(const HelperRequest& r) {
    Writer w;
    w.U32(static_cast<std::uint32_t>(r.op));
    switch (r.op) {
        case HelperOp::kRegDeleteKey:
        case HelperOp::kRegCreateKey:
        case HelperOp::kRegEnumValues:
        case HelperOp::kRegEnumKeys:
        case HelperOp::kRegDeleteTree:
            w.Root(r.root);
            w.Text(r.keyPath);
            break;
        case HelperOp::kRegDeleteValue:
        case HelperOp::kRegQueryValue:
            w.Root(r.root);
            w.Text(r.keyPath);
            w.Text(r.valueName);
            break;
        case HelperOp::kRegSetValue:
            w.Root(r.root);
            w.Text(r.keyPath);
            w.Text(r.valueName);
            w.U32(r.type);
            w.U32(r.flag);
            w.I64(r.sizeInBytes);
            w.U32(r.hasData ? 1 : 0);
            w.Blob(r.data.data(), r.data.size());
            break;
        case HelperOp::kRegOpenTest:
            w.Root(r.root);
            w.Text(r.keyPath);
            w.U32(r.access);
            break;
        case HelperOp::kProcCreate:
            w.Text(r.verb);
            w.Text(r.file);
            w.Text(r.parameters);
            w.Text(r.directory);
            w.U32(r.size);
            w.U32(r.mask);
            w.U32(static_cast<std::uint32_t>(r.show));
            break;
        case HelperOp::kProcKill:
        case HelperOp::kProcEnumModules:
        case HelperOp::kProcGetImagePath:
            w.U32(r.processId);
            break;
        case HelperOp::kFileDelete:
            w.Text(r.path);
            break;
        case HelperOp::kIsElevated:
        case HelperOp::kProcEnum:
        case HelperOp::kRelease:
            break;
    }
    return w.Take();
}

std::int32_t DecodeRequest(std::string_view bytes, HelperRequest* out) {
    *out = HelperRequest();
    if (bytes.size() > kMaxHelperMessageBytes) return kHelperTooLarge;
    Reader in(bytes);
    const std::uint32_t op = in.U32();
    if (bytes.size() < 4) return kHelperMalformed;
    if (!IsKnown(op)) return kHelperUnknownOp;
    HelperRequest r;
    r.op = static_cast<HelperOp>(op);
    switch (r.op) {
        case HelperOp::kRegDeleteKey:
        case HelperOp::kRegCreateKey:
        case HelperOp::kRegEnumValues:
        case HelperOp::kRegEnumKeys:
        case HelperOp::kRegDeleteTree:
            r.root = in.Root();
            r.keyPath = in.Text();
            break;
        case HelperOp::kRegDeleteValue:
        case HelperOp::kRegQueryValue:
            r.root = in.Root();
            r.keyPath = in.Text();
            r.valueName = in.Text();
            break;
        case HelperOp::kRegSetValue: {
            r.root = in.Root();
            r.keyPath = in.Text();
            r.valueName = in.Text();
            r.type = in.U32();
            r.flag = static_cast<std::uint8_t>(in.U32());
            r.sizeInBytes = in.I64();
            r.hasData = in.U32() != 0;
            const std::string_view data = in.Blob();
            r.data.assign(data.begin(), data.end());
            // The helper reads sizeInBytes bytes of the data: a size the helper accepts must be
            // exactly what came, and no bytes may come without data or with a size it refuses.
            const bool sizeAccepted =
                r.sizeInBytes >= 0 && r.sizeInBytes <= std::numeric_limits<std::uint32_t>::max();
            const bool sizeMatches =
                r.hasData && sizeAccepted
                    ? r.data.size() == static_cast<std::uint64_t>(r.sizeInBytes)
                    : r.data.empty();
            if (!sizeMatches) return kHelperMalformed;
            break;
        }
        case HelperOp::kRegOpenTest:
            r.root = in.Root();
            r.keyPath = in.Text();
            r.access = in.U32();
            break;
        case HelperOp::kProcCreate:
            r.verb = in.Text();
            r.file = in.Text();
            r.parameters = in.Text();
            r.directory = in.Text();
            r.size = in.U32();
            r.mask = in.U32();
            r.show = static_cast<std::int32_t>(in.U32());
            break;
        case HelperOp::kProcKill:
        case HelperOp::kProcEnumModules:
        case HelperOp::kProcGetImagePath:
            r.processId = in.U32();
            break;
        case HelperOp::kFileDelete:
            r.path = in.Text();
            break;
        case HelperOp::kIsElevated:
        case HelperOp::kProcEnum:
        case HelperOp::kRelease:
            break;
    }
    if (!in.Finished()) return kHelperMalformed;
    *out = std::move(r);
    return 0;
}

std::string EncodeAnswer(HelperOp op, const HelperAnswer& a) {
    Writer w;
    w.U32(static_cast<std::uint32_t>(a.status));
    switch (op) {
        case HelperOp::kRegQueryValue:
            w.U32(a.number);
            w.Blob(a.data.data(), a.data.size());
            break;
        case HelperOp::kRegEnumValues:
        case HelperOp::kRegEnumKeys:
        case HelperOp::kProcEnumModules:
            w.U32(static_cast<std::uint32_t>(a.texts.size()));
            for (const std::u16string& text : a.texts) w.Text(text);
            break;
        case HelperOp::kProcEnum:
            w.U32(static_cast<std::uint32_t>(a.ids.size()));
            for (std::uint32_t id : a.ids) w.U32(id);
            break;
        case HelperOp::kProcGetImagePath:
            w.Text(a.text);
            break;
        case HelperOp::kProcCreate:
        case HelperOp::kIsElevated:
            w.U32(a.number);
            break;
        default:
            break;
    }
    return w.Take();
}

bool DecodeAnswer(HelperOp op, std::string_view bytes, HelperAnswer* out) {
    *out = HelperAnswer();
    if (bytes.size() > kMaxHelperMessageBytes) return false;
    Reader in(bytes);
    HelperAnswer a;
    a.status = static_cast<std::int32_t>(in.U32());
    // A request the helper refused before running it comes back as its status alone.
    if (bytes.size() == 4 && a.status < 0) {
        *out = a;
        return true;
    }
    switch (op) {
        case HelperOp::kRegQueryValue: {
            a.number = in.U32();
            const std::string_view data = in.Blob();
            a.data.assign(data.begin(), data.end());
            break;
        }
        case HelperOp::kRegEnumValues:
        case HelperOp::kRegEnumKeys:
        case HelperOp::kProcEnumModules:
            for (std::uint32_t i = 0, n = in.Count(4); i < n; ++i) a.texts.push_back(in.Text());
            break;
        case HelperOp::kProcEnum:
            for (std::uint32_t i = 0, n = in.Count(4); i < n; ++i) a.ids.push_back(in.U32());
            break;
        case HelperOp::kProcGetImagePath:
            a.text = in.Text();
            break;
        case HelperOp::kProcCreate:
        case HelperOp::kIsElevated:
            a.number = in.U32();
            break;
        default:
            break;
    }
    if (!in.Finished()) return false;
    *out = std::move(a);
    return true;
}

std::string ServeHelperRequest(IElevatedHelper& helper, std::string_view bytes, bool* release) {
    *release = false;
    HelperRequest r;
    HelperAnswer a;
    a.status = DecodeRequest(bytes, &r);
    if (a.status != 0) return EncodeAnswer(HelperOp::kRelease, a);
    switch (r.op) {
        case HelperOp::kRegDeleteKey:
            a.status = helper.Reg_DeleteKey(r.root, r.keyPath);
            break;
        case HelperOp::kRegDeleteValue:
            a.status = helper.Reg_DeleteValue(r.root, r.keyPath, r.valueName);
            break;
        case HelperOp::kRegSetValue:
            a.status = helper.Reg_SetValue(r.root, r.keyPath, r.valueName,
                                           r.hasData ? r.data.data() : nullptr, r.sizeInBytes,
                                           r.type, r.flag);
            break;
        case HelperOp::kRegQueryValue:
            a.status = helper.Reg_QueryValue(r.root, r.keyPath, r.valueName, &a.number, a.data);
            break;
        case HelperOp::kRegCreateKey:
            a.status = helper.Reg_CreateKey(r.root, r.keyPath);
            break;
        case HelperOp::kRegEnumValues:
            a.status = helper.Reg_EnumValues(r.root, r.keyPath, a.texts);
            break;
        case HelperOp::kRegEnumKeys:
            a.status = helper.Reg_EnumKeys(r.root, r.keyPath, a.texts);
            break;
        case HelperOp::kRegDeleteTree:
            a.status = helper.Reg_DeleteTree(r.root, r.keyPath);
            break;
        case HelperOp::kRegOpenTest:
            a.status = helper.Reg_OpenTest(r.root, r.keyPath, r.access);
            break;
        case HelperOp::kIsElevated:
            a.number = helper.IsElevated() ? 1 : 0;
            break;
        case HelperOp::kProcCreate: {
            platform::ShellExecuteInfo info;
            info.cbSize = r.size;
            info.fMask = r.mask;
            info.lpVerb = r.verb.empty() ? nullptr : r.verb.c_str();
            info.lpFile = r.file.empty() ? nullptr : r.file.c_str();
            info.lpParameters = r.parameters.empty() ? nullptr : r.parameters.c_str();
            info.lpDirectory = r.directory.empty() ? nullptr : r.directory.c_str();
            info.nShow = r.show;
            a.status = helper.Proc_Create(&info, &a.number);
            break;
        }
        case HelperOp::kProcKill:
            a.status = helper.Proc_Kill(r.processId);
            break;
        case HelperOp::kProcEnum:
            a.status = helper.Proc_Enum(a.ids);
            break;
        case HelperOp::kProcEnumModules:
            a.status = helper.Proc_EnumModules(r.processId, a.texts);
            break;
        case HelperOp::kProcGetImagePath:
            a.status = helper.Proc_GetImagePath(r.processId, a.text);
            break;
        case HelperOp::kFileDelete:
            a.status = helper.File_Delete(r.path);
            break;
        case HelperOp::kRelease:
            *release = true;
            break;
    }
    return EncodeAnswer(r.op, a);
}

}  // namespace talelev
