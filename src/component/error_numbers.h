// The component's error numbers, named once. Their texts live in the error-text tables
// (error_texts.cpp, reply_texts.cpp, socket_error_texts.cpp).
#pragma once

#include <cstdint>

namespace quorvi::errors {

// Component errors.
inline constexpr std::int32_t kHostnameRequired = 20001;
inline constexpr std::int32_t kUnresolvedHost = 20002;
inline constexpr std::int32_t kTooLarge = 20003;
inline constexpr std::int32_t kTimedOut = 20004;
inline constexpr std::int32_t kNoRemotePath = 20005;
inline constexpr std::int32_t kNoLocalPath = 20006;
inline constexpr std::int32_t kRemoteFileMissing = 20007;
inline constexpr std::int32_t kRemoteFolderMissing = 20008;
inline constexpr std::int32_t kLocalFileMissing = 20009;
inline constexpr std::int32_t kFolderMissing = 20010;
inline constexpr std::int32_t kNotAbsolute = 20011;
inline constexpr std::int32_t kNoSavePath = 20019;
inline constexpr std::int32_t kTypeNotAllowed = 20021;
inline constexpr std::int32_t kTypeForbidden = 20022;
inline constexpr std::int32_t kCreateFileFailed = 20023;
inline constexpr std::int32_t kOpenFileFailed = 20024;
inline constexpr std::int32_t kDataSocketFailed = 20061;  ///< reads as 10061 through ErrorNumber
// The local side of transfers and the component's thread (22040-22059).
inline constexpr std::int32_t kWrongThread = 22040;    ///< a member called on another thread
inline constexpr std::int32_t kNotSeekable = 22041;    ///< resume/append from a pipe or device
inline constexpr std::int32_t kAsciiResume = 22042;    ///< resume asked in ASCII mode
inline constexpr std::int32_t kInvalidHost = 21000;
inline constexpr std::int32_t kWrongState = 40006;  ///< data sent on a socket without a connection

// Local files, secrets and terminals.
inline constexpr std::int32_t kNoLogFolder = 22020;      ///< no folder of this user for the log
inline constexpr std::int32_t kLinkOutsideTree = 22021;  ///< an upload's link points out of its folder

// Internal errors.
inline constexpr std::int32_t kBadDirectoryReply = 16001;
inline constexpr std::int32_t kUnknownListFormat = 16002;
inline constexpr std::int32_t kNoResponse = 16006;
inline constexpr std::int32_t kConnecting = 16007;
inline constexpr std::int32_t kReconnectFailed = 16008;
inline constexpr std::int32_t kUnfinished = 16009;
inline constexpr std::int32_t kCanceled = 16010;
inline constexpr std::int32_t kInterrupted = 16011;  ///< the server closed instead of replying
inline constexpr std::int32_t kHandlerFailed = 16012;  ///< a host's event handler threw

/// A negative FTP reply ended an operation.
constexpr std::int32_t ReplyError(int reply_code) { return 16000 + reply_code; }

// HTTP download errors (18000 + status for an unusable status).
inline constexpr std::int32_t kHttpError = 18000;
inline constexpr std::int32_t kNoResuming = 18001;
inline constexpr std::int32_t kNoFileSize = 18002;
inline constexpr std::int32_t kHttpConnectFailed = 18003;
inline constexpr std::int32_t kHttpNoResponse = 18004;

// ---- Encrypted connections (19xxx) ----
inline constexpr std::int32_t kTlsUnavailable = 19000;  ///< no TLS for this connection
inline constexpr std::int32_t kTlsRefused = 19001;      ///< the server refused AUTH TLS
inline constexpr std::int32_t kTlsHandshake = 19002;    ///< the handshake failed (reason)
inline constexpr std::int32_t kTlsUntrusted = 19003;    ///< the certificate is not trusted
inline constexpr std::int32_t kTlsNameMismatch = 19004; ///< not issued for the host asked for
inline constexpr std::int32_t kTlsPinMismatch = 19005;  ///< not the pinned public key
inline constexpr std::int32_t kTlsNotResumed = 19006;   ///< data connection without the session
inline constexpr std::int32_t kTlsStream = 19007;       ///< the encrypted stream failed

// ---- Hostile input (220xx) ----
inline constexpr std::int32_t kLineBreakInText = 22000;   ///< CR or LF in a name, URL or argument
inline constexpr std::int32_t kNulInText = 22001;         ///< NUL in a name, URL or argument
inline constexpr std::int32_t kListingTooLarge = 22002;   ///< listing past MaxListingBytes
inline constexpr std::int32_t kListingTooManyEntries = 22003;  ///< past MaxListingEntries
inline constexpr std::int32_t kMoreThanSize = 22004;      ///< more bytes than the announced size
inline constexpr std::int32_t kRedirectScheme = 22005;    ///< HTTP redirect to another scheme
inline constexpr std::int32_t kConflictingLength = 22006; ///< two different Content-Length

}  // namespace quorvi::errors
