// The patch kernel's 34 operations as one list, so the double declares, mocks
// and exports each of them from a single line.
// X(result type, name without the nativeCOSPatch_ prefix, parameters, arguments)

#ifndef KERNEL_DOUBLE_KERNEL_FUNCTIONS_H
#define KERNEL_DOUBLE_KERNEL_FUNCTIONS_H

#define KERNEL_DOUBLE_FUNCTIONS(X)                                                               \
    X(bool, memory_initComponent, (), ())                                                        \
    X(bool, memory_cleanupComponent, (), ())                                                     \
    X(bool, logManager_initComponent, (NATIVECOSPATCH_LOG_COMPONENT * c), (c))                   \
    X(bool, logManager_open, (), ())                                                             \
    X(bool, logManager_isComponentInitialized, (bool* initialized), (initialized))               \
    X(bool, logManager_cleanupComponent, (), ())                                                 \
    X(bool, seContextManager_initComponent, (), ())                                              \
    X(bool, seContextManager_cleanupComponent, (), ())                                           \
    X(bool, seContextManager_updateCOSTagAID,                                                    \
      (NATIVECOSPATCH_COS_DATA_TYPE type, uint8_t * aid, uint16_t length), (type, aid, length))  \
    X(bool, seContextManager_getCOSTagAIDSize,                                                   \
      (NATIVECOSPATCH_COS_DATA_TYPE type, uint16_t * size), (type, size))                        \
    X(bool, seContextManager_readCOSPlatformId, (char* buffer, uint16_t capacity),               \
      (buffer, capacity))                                                                        \
    X(bool, seContextManager_readCOSVersion, (uint16_t * version), (version))                    \
    X(bool, seContextManager_readCOSCustomerId, (char* buffer, uint16_t capacity),               \
      (buffer, capacity))                                                                        \
    X(bool, seContextManager_readCOSData,                                                        \
      (NATIVECOSPATCH_COS_DATA_TYPE type, NATIVECOSPATCH_BYTE_ARRAY * data), (type, data))       \
    X(bool, byteArray_freeContent, (NATIVECOSPATCH_BYTE_ARRAY * data), (data))                   \
    X(bool, seMediaManager_initComponent, (NATIVECOSPATCH_SEMEDIA_COMPONENT * c), (c))           \
    X(bool, seMediaManager_cleanupComponent, (), ())                                             \
    X(bool, seMediaManager_isComponentInitialized, (bool* initialized), (initialized))           \
    X(bool, seMediaManager_isStarted, (bool* started), (started))                                \
    X(bool, seMediaManager_start, (), ())                                                        \
    X(bool, seMediaManager_stop, (), ())                                                         \
    X(NATIVECOSPATCH_MULTISCRIPT*, xml_multiscript_loadFromString, (const char* xml), (xml))     \
    X(bool, multiscriptManager_freeMultiscript, (NATIVECOSPATCH_MULTISCRIPT * m), (m))           \
    X(bool, multiscriptManager_isScriptWithNameExist,                                            \
      (NATIVECOSPATCH_MULTISCRIPT * m, const char* name, bool* exists), (m, name, exists))       \
    X(bool, multiscriptManager_isAuditScriptWithNameExist,                                       \
      (NATIVECOSPATCH_MULTISCRIPT * m, const char* name, bool* exists), (m, name, exists))       \
    X(NATIVECOSPATCH_MULTISCRIPT__SCRIPT*, multiscriptManager_script_selectRefScript,            \
      (NATIVECOSPATCH_MULTISCRIPT * m, const char* name), (m, name))                             \
    X(NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*, multiscriptManager_script_selectRefAuditScript, \
      (NATIVECOSPATCH_MULTISCRIPT * m, const char* name), (m, name))                             \
    X(NATIVECOSPATCH_SCRIPT*, xml_script_loadFromString, (const char* xml), (xml))               \
    X(bool, scriptManager_isConsistency, (NATIVECOSPATCH_SCRIPT * s), (s))                       \
    X(bool, scriptRunner_executeScript, (NATIVECOSPATCH_SCRIPT * s), (s))                        \
    X(bool, scriptManager_freeScript, (NATIVECOSPATCH_SCRIPT * s), (s))                          \
    X(NATIVECOSPATCH_AUDIT_SCRIPT*, xml_audit_script_loadFromString, (const char* xml), (xml))   \
    X(bool, auditscriptRunner_executeAuditScript, (NATIVECOSPATCH_AUDIT_SCRIPT * s), (s))        \
    X(bool, auditScriptManager_freeAuditScript, (NATIVECOSPATCH_AUDIT_SCRIPT * s), (s))

#endif  // KERNEL_DOUBLE_KERNEL_FUNCTIONS_H
