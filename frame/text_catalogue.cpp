// The text catalogue: the table of ids and keys, the two lookups and their static buffers.
#include "frame/text_catalogue.h"

#include <cstddef>
#include <iterator>

#include "frame/module_objects.h"
#include "platform/machine.h"

namespace {

struct CatalogueRow {
    std::int32_t id;
    const char16_t* key;
};

// Ids of code and keys of the language file; the order is the file's, not sorted by id.
constexpr CatalogueRow kCatalogue[] = {
    {22109, u"IDS_PLUGIN_NAME"},
    {22200, u"IDS_VISTREL_ACTION_REFRESH"},
    {22201, u"IDS_VISTREL_ACTION_REMOVE"},
    {22202, u"IDS_VISTREL_ACTION_GOTO"},
    {22203, u"IDS_VISTREL_ACTION_KILL"},
    {22204, u"IDS_VISTREL_ACTION_RESTORE"},
    {22205, u"IDS_VISTREL_ERR_GET_FILE_INFO"},
    {22206, u"IDS_VISTREL_FILE_VERSION"},
    {22207, u"IDS_VISTREL_PRODUCT_VERSION"},
    {22208, u"IDS_VISTREL_PUBLISHER"},
    {22209, u"IDS_VISTREL_DESCRIPTION"},
    {22210, u"IDS_VISTREL_FILE"},
    {22211, u"IDS_VISTREL_PATH"},
    {22212, u"IDS_VISTREL_OBJECT"},
    {22213, u"IDS_VISTREL_CURRENT_ASSOC"},
    {22214, u"IDS_VISTREL_DEFAULT_ASSOC"},
    {22215, u"IDS_VISTREL_CODEBASE"},
    {22216, u"IDS_VISTREL_INF"},
    {22217, u"IDS_VISTREL_LASTMODIFIED"},
    {22218, u"IDS_VISTREL_COMPONENTS"},
    {22219, u"IDS_VISTREL_IP"},
    {22220, u"IDS_VISTREL_HOST"},
    {22221, u"IDS_VISTREL_OSD"},
    {22300, u"IDS_VISTREL_RUNITEMS"},
    {22301, u"IDS_VISTREL_RUNITEMS_DESC"},
    {22302, u"IDS_VISTREL_RUNITEMS_CU_RUN"},
    {22303, u"IDS_VISTREL_RUNITEMS_CU_RUN_DESC"},
    {22304, u"IDS_VISTREL_RUNITEMS_CU_RUNONCE"},
    {22305, u"IDS_VISTREL_RUNITEMS_CU_RUNONCE_DESC"},
    {22306, u"IDS_VISTREL_RUNITEMS_CU_RUNONCEEX"},
    {22307, u"IDS_VISTREL_RUNITEMS_CU_RUNONCEEX_DESC"},
    {22308, u"IDS_VISTREL_RUNITEMS_LM_RUN"},
    {22309, u"IDS_VISTREL_RUNITEMS_LM_RUN_DESC"},
    {22310, u"IDS_VISTREL_RUNITEMS_LM_RUNONCE"},
    {22311, u"IDS_VISTREL_RUNITEMS_LM_RUNONCE_DESC"},
    {22312, u"IDS_VISTREL_RUNITEMS_LM_RUNONCEEX"},
    {22313, u"IDS_VISTREL_RUNITEMS_LM_RUNONCEEX_DESC"},
    {22314, u"IDS_VISTREL_RUNITEMS_RUNSERVICES"},
    {22315, u"IDS_VISTREL_RUNITEMS_RUNSERVICES_DESC"},
    {22316, u"IDS_VISTREL_RUNITEMS_RUNSERVICESONCE"},
    {22317, u"IDS_VISTREL_RUNITEMS_RUNSERVICESONCE_DESC"},
    {22318, u"IDS_VISTREL_RUNITEMS_BOOTEXECUTE"},
    {22319, u"IDS_VISTREL_RUNITEMS_BOOTEXECUTE_DESC"},
    {22330, u"IDS_VISTREL_STARTUPITEMS"},
    {22331, u"IDS_VISTREL_STARTUPITEMS_DESC"},
    {22332, u"IDS_VISTREL_STARTUPITEMS_CU"},
    {22333, u"IDS_VISTREL_STARTUPITEMS_CU_DESC"},
    {22334, u"IDS_VISTREL_STARTUPITEMS_AU"},
    {22335, u"IDS_VISTREL_STARTUPITEMS_AU_DESC"},
    {22340, u"IDS_VISTREL_PROCESSES"},
    {22341, u"IDS_VISTREL_PROCESSES_DESC"},
    {22350, u"IDS_VISTREL_LOADITEMS"},
    {22351, u"IDS_VISTREL_LOADITEMS_DESC"},
    {22352, u"IDS_VISTREL_LOADITEMS_USERINIT"},
    {22353, u"IDS_VISTREL_LOADITEMS_USERINIT_DESC"},
    {22354, u"IDS_VISTREL_LOADITEMS_CU_SHELL"},
    {22355, u"IDS_VISTREL_LOADITEMS_CU_SHELL_DESC"},
    {22356, u"IDS_VISTREL_LOADITEMS_LM_SHELL"},
    {22357, u"IDS_VISTREL_LOADITEMS_LM_SHELL_DESC"},
    {22358, u"IDS_VISTREL_LOADITEMS_APPINITDLLS"},
    {22359, u"IDS_VISTREL_LOADITEMS_APPINITDLLS_DESC"},
    {22360, u"IDS_VISTREL_LOADITEMS_WINLOGONNOTIFY"},
    {22361, u"IDS_VISTREL_LOADITEMS_WINLOGONNOTIFY_DESC"},
    {22371, u"IDS_VISTREL_FILEASSOC"},
    {22372, u"IDS_VISTREL_FILEASSOC_DESC"},
    {22380, u"IDS_VISTREL_SCRIPTS"},
    {22381, u"IDS_VISTREL_SCRIPTS_DESC"},
    {22382, u"IDS_VISTREL_SCRIPTS_STARTUP"},
    {22383, u"IDS_VISTREL_SCRIPTS_STARTUP_DESC"},
    {22384, u"IDS_VISTREL_SCRIPTS_SHUTDOWN"},
    {22385, u"IDS_VISTREL_SCRIPTS_SHUTDOWN_DESC"},
    {22391, u"IDS_VISTREL_SERVICES"},
    {22392, u"IDS_VISTREL_SERVICES_DESC"},
    {22393, u"IDS_VISTREL_SERVICES_BOOT"},
    {22394, u"IDS_VISTREL_SERVICES_SYSTEM"},
    {22395, u"IDS_VISTREL_SERVICES_AUTOMATIC"},
    {22396, u"IDS_VISTREL_SERVICES_MANUAL"},
    {22397, u"IDS_VISTREL_SERVICES_DISABLED"},
    {22398, u"IDS_VISTREL_SERVICES_STARTUP"},
    {22474, u"IDS_VISTREL_SERVICES_DRIVERS"},
    {22475, u"IDS_VISTREL_SERVICES_PROCESSES"},
    {22476, u"IDS_VISTREL_SERVICES_DRIVERS_DESC"},
    {22477, u"IDS_VISTREL_SERVICES_PROCESSES_DESC"},
    {22400, u"IDS_VISTREL_IE"},
    {22401, u"IDS_VISTREL_IE_DESC"},
    {22402, u"IDS_VISTREL_IE_BHO"},
    {22403, u"IDS_VISTREL_IE_BHO_DESC"},
    {22404, u"IDS_VISTREL_IE_MENUEXT"},
    {22405, u"IDS_VISTREL_IE_MENUEXT_DESC"},
    {22406, u"IDS_VISTREL_IE_DOWNLOADEDACTIVEX"},
    {22407, u"IDS_VISTREL_IE_DOWNLOADEDACTIVEX_DESC"},
    {22420, u"IDS_VISTREL_WE"},
    {22421, u"IDS_VISTREL_WE_DESC"},
    {22422, u"IDS_VISTREL_WE_SHELLEXT"},
    {22423, u"IDS_VISTREL_WE_SHELLEXT_DESC"},
    {22424, u"IDS_VISTREL_WE_SHELLEXECHOOKS"},
    {22425, u"IDS_VISTREL_WE_SHELLEXECHOOKS_DESC"},
    {22426, u"IDS_VISTREL_WE_INSTCOMP"},
    {22427, u"IDS_VISTREL_WE_INSTCOMP_DESC"},
    {22440, u"IDS_VISTREL_INI"},
    {22441, u"IDS_VISTREL_INI_DESC"},
    {22442, u"IDS_VISTREL_INI_WIN"},
    {22443, u"IDS_VISTREL_INI_WIN_DESC"},
    {22444, u"IDS_VISTREL_INI_SYS"},
    {22445, u"IDS_VISTREL_INI_SYS_DESC"},
    {22450, u"IDS_VISTREL_KNOWNDLLS"},
    {22451, u"IDS_VISTREL_KNOWNDLLS_DESC"},
    {22460, u"IDS_VISTREL_HOSTS"},
    {22461, u"IDS_VISTREL_HOSTS_DESC"},
    {22470, u"IDS_VISTREL_WINSOCK"},
    {22471, u"IDS_VISTREL_WINSOCK_DESC"},
    {22472, u"IDS_VISTREL_ERR_NO_FILE_INFO"},
    {22473, u"IDS_VISTREL_ITEM_NOT_FOUND"},
    {22478, u"IDS_CONFIRM_TITLE"},
    {22479, u"IDS_YES"},
    {22480, u"IDS_NO"},
    {22481, u"IDS_DONT_ASK_ME_AGAIN"},
    {22482, u"IDS_CONFIRMATION"},
    {22483, u"IDS_VISTREL_POPUP_TITLE"},
    {22484, u"IDS_VISTREL_ACTION_FAILED"},
    {22485, u"IDS_VISTREL_ENUMERATION_FAILED"},
    {22486, u"IDS_VISTREL_PROCESS_ID"},
    {22487, u"IDS_VISTREL_FILE_INFO_MAYBE_WRONG"},
    {22488, u"IDS_VISTREL_ACCESS_DENIED"},
    {22490, u"IDS_VISTREL_ACCESS_DENIED_REQUIRES_ELEVATION"},
    {22489, u"IDS_VISTREL_TITLE_WAITING"},
};
static_assert(std::size(kCatalogue) == 126);

constexpr std::size_t kValueBufferLength = 1024;

// The last text found by key, and the last one that came from the resources by id. The
// pointers handed out stay valid until the next lookup of the same kind.
std::u16string& KeyText() {
    static std::u16string keyText;
    return keyText;
}

std::u16string& IdText() {
    static std::u16string idText;
    return idText;
}

void ReplaceAll(std::u16string& text, char16_t letter, char16_t replacement) {
    const char16_t pair[2] = {u'\\', letter};
    for (std::size_t at = text.find(std::u16string_view(pair, 2)); at != std::u16string::npos;
         at = text.find(std::u16string_view(pair, 2)))
        text.replace(at, 2, 1, replacement);
}

}  // namespace

void UnescapeCatalogueText(std::u16string& text) {
    // Three whole passes in this order; a backslash has no escape of its own, so "\\n" keeps
    // its first backslash and loses the second to the line feed.
    ReplaceAll(text, u'r', u'\r');
    ReplaceAll(text, u'n', u'\n');
    ReplaceAll(text, u't', u'\t');
}

const char16_t* CatalogueKey(std::int32_t id) {
    for (const CatalogueRow& row : kCatalogue)
        if (row.id == id) return row.key;
    return nullptr;
}

const char16_t* TextById(std::int32_t id) {
    if (g_textFile != nullptr) {
        if (const char16_t* key = CatalogueKey(id)) return TextByKey(id, key);
    }
    std::u16string& idText = IdText();
    idText.clear();
    platform::machine().resources().LoadText(static_cast<std::uint32_t>(id), &idText);
    return idText.c_str();
}

const char16_t* TextByKey(std::int32_t id, const char16_t* key) {
    std::u16string result;
    int found = 0;
    if (g_textFile != nullptr && key != nullptr) {
        char16_t buffer[kValueBufferLength] = {};
        found = get_value(g_textFile, u"LangSupport", key, buffer, u"%s", 1);
        buffer[kValueBufferLength - 1] = u'\0';
        result = buffer;
        UnescapeCatalogueText(result);
    }
    if (found != 1) {
        result.clear();
        if (id != 0)
            platform::machine().resources().LoadText(static_cast<std::uint32_t>(id), &result);
    }
    std::u16string& keyText = KeyText();
    keyText = result;
    UnescapeCatalogueText(keyText);
    return keyText.c_str();
}
