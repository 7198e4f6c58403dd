// Public enumerations of the QuorviFtp component.
#pragma once

#include <cstdint>

namespace quorvi {

/// Protocol state, the value of FtpLibrary::FtpState().
enum FtpStates : std::int32_t {
  ftpFreeState = 0,                    ///< no command outstanding; every operation ends here
  ftpClosed = 1,                       ///< the control connection is closed
  ftpConnecting = 2,                   ///< Connect is opening the control connection
  ftpConnected = 3,                    ///< the control connection is up
  ftpAuthentication = 4,               ///< USER or PASS sent
  ftpUserLoggedIn = 5,                 ///< login completed
  ftpChangingCurrentDirectory = 6,     ///< CWD sent
  ftpDeletingFile = 7,                 ///< DELE sent
  ftpRemovingDirectory = 8,            ///< RMD sent
  ftpCreatingDirectory = 9,            ///< MKD sent
  ftpRenamingFile = 10,                ///< RNFR sent
  ftpEstablishingDataConnection = 11,  ///< a data connection is being prepared
  ftpDataConnectionEstablished = 12,   ///< the passive data connection's connect has started
  ftpRetrievingDirectoryInfo = 13,     ///< LIST or PWD sent, or a listing's TYPE/PASV/PORT/REST
  ftpDirectoryInfoRetrieved = 14,      ///< GetFtpDirectoryInfo finished
  ftpDownloadInProgress = 15,          ///< RETR sent, or a download's TYPE/PASV/PORT/REST
  ftpDownloadCompleted = 16,           ///< one file download completed
  ftpUploadInProgress = 17,            ///< STOR sent, or an upload's TYPE/PASV/PORT/REST
  ftpUploadCompleted = 18,             ///< one file upload completed
  ftpQuiting = 19,                     ///< QUIT sent
  ftpGetFileSize = 20,                 ///< a SIZE query's TYPE/PASV/PORT/REST
};

/// The long operation that owns the object; opNone means the object is free.
enum FtpOperations : std::int32_t {
  opNone = 0,
  opConnect = 1,
  opGetCurrentDirectory = 2,
  opSetCurrentDirectory = 3,
  opCreateDirectory = 4,
  opRemoveDirectory = 5,
  opRenameFile = 6,
  opDeleteFile = 7,
  opDownload = 8,
  opUpload = 9,
  opListDirectory = 10,
  opQuit = 11,
  opGetFileSize = 12,
  opAbort = 13,
  opRawCommand = 14,
  opCommandTest = 15,
};

/// Kind of the last message, the value of FtpLibrary::MessageType().
enum MessageTypes : std::int16_t {
  FTP_USER_COMMAND = 0,         ///< a command line the component has just sent
  FTP_SERVER_RESPONSE = 1,      ///< a reply whose code is below 400
  FTP_SERVER_BAD_RESPONSE = 2,  ///< a reply whose code is 400 or higher
  FTP_APPLICATION_MESSAGE = 3,  ///< never produced
};

/// Representation type of file transfers.
enum FtpTransferModes : std::int32_t {
  FTP_ASCII_MODE = 0,  ///< TYPE A
  FTP_IMAGE_MODE = 1,  ///< TYPE I (the default)
};

/// Result status codes published with the interface.
enum AsyncResultStatusConstants : std::int32_t {
  arStatusOk = 0,
  arStatusError = 1,
  arStatusTimeOut = 2,
  arStatusCancel = 3,
};

/// Special folders, published for hosts (no member takes them); from 2 on the values are the
/// classic special-folder numbers.
enum FolderItem : std::int32_t {
  Default = 0,
  Desktop = 1,
  Program = 2,
  ControlPanel = 3,
  Printers = 4,
  DocumentsFolder = 5,
  FavoritesFolder = 6,
  StartupFolder = 7,
  RecentFolder = 8,
  SendToFolder = 9,
  RecycleBin = 10,
  StartMenuFolder = 11,
  DesktopFolder = 16,
  MyComputer = 17,
  NetworkNeighborhood = 18,
  NetHoodFolder = 19,
  FontsFolder = 20,
  ShellNewFolder = 21,
};

}  // namespace quorvi
