// How the service's servers answer a request that they do not grant.
#pragma once

namespace kelvo::sync {

inline constexpr char RESPONSE_INVALID_PARAMETER[] = "INVALID_PARAMETER";
inline constexpr char RESPONSE_REJECTED[] = "REJECTED";
inline constexpr char RESPONSE_EXISTS[] = "EXISTS";
inline constexpr char RESPONSE_DELETED[] = "DELETED";
inline constexpr char RESPONSE_PARENT_DELETED[] = "PARENT_DELETED";
inline constexpr char RESPONSE_NOT_FOUND[] = "NOT_FOUND";
inline constexpr char RESPONSE_LOCKED[] = "LOCKED";
inline constexpr char RESPONSE_MD5_FAILED[] = "MD5_FAILED";
inline constexpr char RESPONSE_OUT_OF_QUOTA[] = "OUT_OF_QUOTA";
inline constexpr char RESPONSE_PERMISSION_NOT_ALLOWED[] = "PERMISSION_NOT_ALLOWED";
inline constexpr char RESPONSE_INVALID_CONTEXT[] = "INVALID_CONTEXT";
inline constexpr char RESPONSE_TRY_LATER[] = "TRY_LATER";
inline constexpr char RESPONSE_OUT_OF_PROJECTS[] = "OUT_OF_PROJECTS";
inline constexpr char RESPONSE_OUT_OF_DISK_SPACE[] = "OUT_OF_DISK_SPACE";
inline constexpr char RESPONSE_FILE_COUNT_EXCEEDED[] = "FILE_COUNT_EXCEEDED";
inline constexpr char RESPONSE_PROJECT_SIZE_EXCEEDED[] = "PROJECT_SIZE_EXCEEDED";
inline constexpr char RESPONSE_PROJECT_COUNT_EXCEEDED[] = "PROJECT_COUNT_EXCEEDED";
inline constexpr char RESPONSE_FAILURE[] = "FAILURE";
inline constexpr char RESPONSE_FILE_NOT_FOUND[] = "FILE_NOT_FOUND";
inline constexpr char RESPONSE_FILE_EXIST[] = "FILE_EXIST";
inline constexpr char RESPONSE_PARENT_NOT_FOUND[] = "PARENT_NOT_FOUND";
inline constexpr char RESPONSE_SYNC_ERROR[] = "SYNC_ERROR";
inline constexpr char RESPONSE_INVALID_FILENAME[] = "INVALID_FILENAME";

// All of them in the servers' order, ended by a null pointer.
inline constexpr const char* ServerResponseCodes[] = {
    RESPONSE_INVALID_PARAMETER,
    RESPONSE_REJECTED,
    RESPONSE_EXISTS,
    RESPONSE_DELETED,
    RESPONSE_PARENT_DELETED,
    RESPONSE_NOT_FOUND,
    RESPONSE_LOCKED,
    RESPONSE_MD5_FAILED,
    RESPONSE_OUT_OF_QUOTA,
    RESPONSE_PERMISSION_NOT_ALLOWED,
    RESPONSE_INVALID_CONTEXT,
    RESPONSE_TRY_LATER,
    RESPONSE_OUT_OF_PROJECTS,
    RESPONSE_OUT_OF_DISK_SPACE,
    RESPONSE_FILE_COUNT_EXCEEDED,
    RESPONSE_PROJECT_SIZE_EXCEEDED,
    RESPONSE_PROJECT_COUNT_EXCEEDED,
    RESPONSE_FAILURE,
    RESPONSE_FILE_NOT_FOUND,
    RESPONSE_FILE_EXIST,
    RESPONSE_PARENT_NOT_FOUND,
    RESPONSE_SYNC_ERROR,
    RESPONSE_INVALID_FILENAME,
    nullptr,
};

}  // namespace kelvo::sync
