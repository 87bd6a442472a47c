// Our declaration of the patch kernel's interface (libnativecospatchkernel-zelmar.so):
// the records that cross the boundary and the operations the engine calls.
//
// The kernel is a closed C library, so the record layouts below are binding:
// every offset and size the engine relies on is checked at compile time for
// the 64-bit targets we ship on.
//
// Conventions of the kernel: a bool result counts by its lowest bit only; a
// pointer result is null on failure or when nothing was found; bool*
// out-parameters are preset to false by the caller and read only after
// success. Text is NUL-terminated 8-bit; strings inside records belong to the
// kernel and live as long as the record that holds them.

#ifndef NATIVE_COS_PATCH_KERNEL_H
#define NATIVE_COS_PATCH_KERNEL_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>

extern "C" {

// ---- Lists and the multiscript --------------------------------------------

typedef struct NATIVECOSPATCH_LIST_NODE {
    void* data;  // element record; may be null
    struct NATIVECOSPATCH_LIST_NODE* next;
} NATIVECOSPATCH_LIST_NODE;

typedef struct NATIVECOSPATCH_MULTISCRIPT {
    void* kernelReserved[3];
    NATIVECOSPATCH_LIST_NODE* scriptManifests;  // of NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST
    NATIVECOSPATCH_LIST_NODE* scripts;          // of NATIVECOSPATCH_MULTISCRIPT__SCRIPT
    NATIVECOSPATCH_LIST_NODE* auditScripts;     // of NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT
} NATIVECOSPATCH_MULTISCRIPT;

// Fixed 32-bit underlying type: the kernel may hand out any value here.
typedef enum NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE : int32_t {
    NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN = 0,
    NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH = 1,
    NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE = 2,
} NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE;

typedef struct NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST {
    char* scriptName;
    void* kernelReserved;
    NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE scriptType;
    char* auditScriptName;  // null or empty: none
    char* customerId;       // null: meant for every customer
    char* cosVersion;       // version the chip must run now, hexadecimal text
    char* platformId;       // null: never applies
} NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST;

typedef struct NATIVECOSPATCH_MULTISCRIPT__SCRIPT {
    char* name;
    char* content;  // the script's own XML text
} NATIVECOSPATCH_MULTISCRIPT__SCRIPT;

typedef struct NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT {
    char* name;
    char* content;
} NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT;

// Parsed scripts: opaque handles, freed by the kernel's own free operations.
typedef struct NATIVECOSPATCH_SCRIPT NATIVECOSPATCH_SCRIPT;
typedef struct NATIVECOSPATCH_AUDIT_SCRIPT NATIVECOSPATCH_AUDIT_SCRIPT;

// ---- SE context -------------------------------------------------------------

typedef struct NATIVECOSPATCH_BYTE_ARRAY {
    uint8_t* data;  // allocated by the kernel; null when nothing was read
    uint16_t size;
} NATIVECOSPATCH_BYTE_ARRAY;

typedef enum NATIVECOSPATCH_COS_DATA_TYPE : int32_t {
    NATIVECOSPATCH_COS_DATA_TYPE_NONE = 0,
    NATIVECOSPATCH_COS_DATA_TYPE_FC = 1,
    NATIVECOSPATCH_COS_DATA_TYPE_FD = 2,
    NATIVECOSPATCH_COS_DATA_TYPE_FE = 3,
} NATIVECOSPATCH_COS_DATA_TYPE;

// Capacity of the caller's buffers for the platform id and the customer id.
#define NATIVECOSPATCH_ID_BUFFER_SIZE 128

// ---- Callback records filled by the kernel's user --------------------------

typedef enum NATIVECOSPATCH_LOG_MESSAGE_LEVEL : int32_t {
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL_VERBOSE = 0,
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL_DEBUG = 1,
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL_INFO = 2,
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING = 3,
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR = 4,
} NATIVECOSPATCH_LOG_MESSAGE_LEVEL;

typedef struct NATIVECOSPATCH_LOG_COMPONENT {
    bool (*open)(void);
    bool (*isOpened)(bool* opened);
    bool (*writeMessage)(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, va_list args);
    bool (*close)(void);
} NATIVECOSPATCH_LOG_COMPONENT;

typedef struct NATIVECOSPATCH_SEMEDIA_COMPONENT {
    bool (*start)(void);
    bool (*isStarted)(bool* started);
    bool (*openConnection)(uint8_t* aid, uint16_t aidLength, uint8_t* response,
                           uint16_t responseMax, uint16_t* responseLength);
    bool (*isConnected)(bool* connected);
    bool (*transmitApdu)(uint8_t* command, uint16_t commandLength, uint8_t* response,
                         uint16_t responseMax, uint16_t* responseLength);
    bool (*closeConnection)(void);
    bool (*stop)(void);
} NATIVECOSPATCH_SEMEDIA_COMPONENT;

// ---- Operations ---------------------------------------------------------------

// Component lifecycle. The records handed to the initComponent calls are the
// caller's temporaries: the kernel copies them.
bool nativeCOSPatch_memory_initComponent(void);
bool nativeCOSPatch_memory_cleanupComponent(void);
bool nativeCOSPatch_logManager_initComponent(NATIVECOSPATCH_LOG_COMPONENT* component);
bool nativeCOSPatch_logManager_open(void);
bool nativeCOSPatch_logManager_isComponentInitialized(bool* initialized);
bool nativeCOSPatch_logManager_cleanupComponent(void);
bool nativeCOSPatch_seContextManager_initComponent(void);
bool nativeCOSPatch_seContextManager_cleanupComponent(void);

// SE context: AIDs of the COS data objects (copied by the kernel) and reads.
bool nativeCOSPatch_seContextManager_updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                     uint8_t* aid, uint16_t aidLength);
bool nativeCOSPatch_seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                      uint16_t* size);
bool nativeCOSPatch_seContextManager_readCOSPlatformId(char* buffer, uint16_t capacity);
bool nativeCOSPatch_seContextManager_readCOSVersion(uint16_t* version);
bool nativeCOSPatch_seContextManager_readCOSCustomerId(char* buffer, uint16_t capacity);
bool nativeCOSPatch_seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                 NATIVECOSPATCH_BYTE_ARRAY* data);
bool nativeCOSPatch_byteArray_freeContent(NATIVECOSPATCH_BYTE_ARRAY* data);

// SE media manager, served by the callbacks of NATIVECOSPATCH_SEMEDIA_COMPONENT.
bool nativeCOSPatch_seMediaManager_initComponent(NATIVECOSPATCH_SEMEDIA_COMPONENT* component);
bool nativeCOSPatch_seMediaManager_cleanupComponent(void);
bool nativeCOSPatch_seMediaManager_isComponentInitialized(bool* initialized);
bool nativeCOSPatch_seMediaManager_isStarted(bool* started);
bool nativeCOSPatch_seMediaManager_start(void);
bool nativeCOSPatch_seMediaManager_stop(void);

// Multiscripts, scripts and audit scripts.
NATIVECOSPATCH_MULTISCRIPT* nativeCOSPatch_xml_multiscript_loadFromString(const char* xml);
bool nativeCOSPatch_multiscriptManager_freeMultiscript(NATIVECOSPATCH_MULTISCRIPT* multiscript);
bool nativeCOSPatch_multiscriptManager_isScriptWithNameExist(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name, bool* exists);
bool nativeCOSPatch_multiscriptManager_isAuditScriptWithNameExist(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name, bool* exists);
NATIVECOSPATCH_MULTISCRIPT__SCRIPT* nativeCOSPatch_multiscriptManager_script_selectRefScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name);
NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*
nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name);
NATIVECOSPATCH_SCRIPT* nativeCOSPatch_xml_script_loadFromString(const char* xml);
bool nativeCOSPatch_scriptManager_isConsistency(NATIVECOSPATCH_SCRIPT* script);
bool nativeCOSPatch_scriptRunner_executeScript(NATIVECOSPATCH_SCRIPT* script);
bool nativeCOSPatch_scriptManager_freeScript(NATIVECOSPATCH_SCRIPT* script);
NATIVECOSPATCH_AUDIT_SCRIPT* nativeCOSPatch_xml_audit_script_loadFromString(const char* xml);
bool nativeCOSPatch_auditscriptRunner_executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script);
bool nativeCOSPatch_auditScriptManager_freeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script);

}  // extern "C"

// ---- Binding layout (64-bit) --------------------------------------------------

static_assert(sizeof(void*) == 8, "the kernel's records are laid out for 64-bit targets");
static_assert(sizeof(bool) == 1, "kernel results are one-byte bool");

static_assert(offsetof(NATIVECOSPATCH_LIST_NODE, data) == 0, "list node layout");
static_assert(offsetof(NATIVECOSPATCH_LIST_NODE, next) == 8, "list node layout");
static_assert(sizeof(NATIVECOSPATCH_LIST_NODE) == 16, "list node layout");

static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT, scriptManifests) == 24, "multiscript layout");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT, scripts) == 32, "multiscript layout");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT, auditScripts) == 40, "multiscript layout");
static_assert(sizeof(NATIVECOSPATCH_MULTISCRIPT) == 48, "multiscript layout");

static_assert(sizeof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE) == 4, "script type is 32-bit");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, scriptName) == 0, "manifest");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, scriptType) == 16, "manifest");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, auditScriptName) == 24,
              "manifest");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, customerId) == 32, "manifest");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, cosVersion) == 40, "manifest");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST, platformId) == 48, "manifest");
static_assert(sizeof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST) == 56, "manifest");

static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT, name) == 0, "script record");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT, content) == 8, "script record");
static_assert(sizeof(NATIVECOSPATCH_MULTISCRIPT__SCRIPT) == 16, "script record");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT, name) == 0, "audit record");
static_assert(offsetof(NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT, content) == 8, "audit record");
static_assert(sizeof(NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT) == 16, "audit record");

static_assert(offsetof(NATIVECOSPATCH_BYTE_ARRAY, data) == 0, "byte array layout");
static_assert(offsetof(NATIVECOSPATCH_BYTE_ARRAY, size) == 8, "byte array layout");
static_assert(sizeof(NATIVECOSPATCH_BYTE_ARRAY) == 16, "byte array layout");
static_assert(sizeof(NATIVECOSPATCH_COS_DATA_TYPE) == 4, "COS data type is 32-bit");
static_assert(sizeof(NATIVECOSPATCH_LOG_MESSAGE_LEVEL) == 4, "log level is 32-bit");

static_assert(offsetof(NATIVECOSPATCH_LOG_COMPONENT, open) == 0, "log component layout");
static_assert(offsetof(NATIVECOSPATCH_LOG_COMPONENT, isOpened) == 8, "log component layout");
static_assert(offsetof(NATIVECOSPATCH_LOG_COMPONENT, writeMessage) == 16, "log component layout");
static_assert(offsetof(NATIVECOSPATCH_LOG_COMPONENT, close) == 24, "log component layout");
static_assert(sizeof(NATIVECOSPATCH_LOG_COMPONENT) == 32, "log component layout");

static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, start) == 0, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, isStarted) == 8, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, openConnection) == 16, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, isConnected) == 24, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, transmitApdu) == 32, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, closeConnection) == 40, "SE media layout");
static_assert(offsetof(NATIVECOSPATCH_SEMEDIA_COMPONENT, stop) == 48, "SE media layout");
static_assert(sizeof(NATIVECOSPATCH_SEMEDIA_COMPONENT) == 56, "SE media layout");

#endif  // NATIVE_COS_PATCH_KERNEL_H
