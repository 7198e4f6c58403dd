// QuorviFtp: an embeddable, event-driven FTP client component.
//
// A host creates one FtpLibrary, sets its properties, calls its methods and subscribes to its
// four argument-less events. Everything runs on the host's thread: long operations pump events
// while they wait, so event handlers run inside the method that is waiting. No member throws:
// a failing method returns its failure value (false, 0, "" or -1) and leaves ErrorNumber() and
// ErrorInfo() set.
//
// Properties follow one convention: `T Name() const` reads, `void Name(T)` writes; write-only
// properties have only the writer.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <quorvi/enums.h>
#include <quorvi/ftp_file.h>
#include <quorvi/event.h>
#include <quorvi/user_interface.h>

namespace quorvi {

namespace detail {
class Core;
}

class FtpLibrary {
 public:
  FtpLibrary();
  ~FtpLibrary();
  FtpLibrary(const FtpLibrary&) = delete;
  FtpLibrary& operator=(const FtpLibrary&) = delete;

  // ---- Events -------------------------------------------------------------------------------
  /// Bytes moved, a file started or ended, or a retry notice changed; read the progress fields.
  Event& OnTransfer();
  /// A command was sent or a complete reply arrived; read MessageInfo() and MessageType().
  Event& OnServerMessage();
  /// The protocol state was set; read FtpState() and Busy().
  Event& OnStateChange();
  /// An operation failed while RaiseErrorEvent() is true; read ErrorNumber() and ErrorInfo().
  Event& OnError();

  // ---- Host integration ---------------------------------------------------------------------
  /// Installs the provider that shows message boxes and dialogs (default: headless).
  void SetUserInterface(std::shared_ptr<UserInterface> provider);
  /// Sets a function the component calls on every event-pump pass while it waits, so a GUI
  /// host's own loop keeps running (pass an empty function to remove it). Shared by all
  /// components of the thread.
  void SetHostHook(std::function<void()> hook);
  /// For a host that owns the thread's loop (GLib, Qt, Asio, libuv): a descriptor that is
  /// readable while the thread's components have work (socket readiness, a queued notification,
  /// a due timer). Watch it for reading and call ProcessPending when it is; -1 when the system
  /// refused one. Owned by the component's thread: never close it.
  int HostLoopFd();
  /// Milliseconds until ProcessPending is due although HostLoopFd stays quiet (0: now, -1: no
  /// timer runs). A host that cannot watch a descriptor may poll with this time-out instead.
  std::int32_t HostLoopTimeout();
  /// Runs what is pending for the thread's components (socket notifications, keep-alive and
  /// other timers) and returns without waiting. Does nothing when called from the host hook.
  void ProcessPending();
  /// Thread-safe: asks the method that is waiting on the component's thread to stop as Abort
  /// does (it ends with 16010). A request made while no method waits is dropped.
  void RequestAbort() noexcept;

  // ---- Connection settings ------------------------------------------------------------------
  /// Server host name or address; writing strips "ftp:", "http:", "https:", slashes and a ":21"
  /// suffix. An IPv6 address may be given bare or in brackets ("::1", "[::1]", "[::1]:21") and is
  /// stored in its usual text ("::1"); any other ":" (a port: use RemotePort) makes Connect fail
  /// with 21000. A name's addresses (IPv4 and IPv6) are tried in order.
  std::string ServerName() const;
  void ServerName(const std::string& value);
  /// Login name ("anonymous" is used when empty).
  std::string UserName() const;
  void UserName(const std::string& value);
  /// Login password.
  std::string PassWord() const;
  void PassWord(const std::string& value);
  /// Control port, 1..65535 (anything else stores 21).
  std::int32_t RemotePort() const;
  void RemotePort(std::int32_t value);
  /// Seconds a wait may last, 30..6000 (anything else stores 30).
  std::int16_t TimeOut() const;
  void TimeOut(std::int16_t value);
  /// Credential cipher switch: 1 turns it on, 100 off, other values change nothing.
  void Lype(std::int16_t value);
  /// Pause after each socket notification, milliseconds (default 10, 0..1000), counted from
  /// the start of its handling. The default paces transfers to about one receive buffer per
  /// pause; 0 lets them run at network speed and also drops the short fixed pauses after each
  /// file (10 ms), created folder (10 ms) and listing (5 ms). Shared by the thread's components.
  std::int32_t NotificationPause() const;
  void NotificationPause(std::int32_t ms);

  // ---- Paths and transfer settings ----------------------------------------------------------
  /// Remote path list ("|"-separated), stored trimmed.
  std::string RemotePath() const;
  void RemotePath(const std::string& value);
  /// Local path list ("|"-separated), stored trimmed; read normalises it.
  std::string LocalPath() const;
  void LocalPath(const std::string& value);
  /// True sets the replace setting to overwrite (3), false to resume (6).
  bool OverWrite() const;
  void OverWrite(bool value);
  /// Host values 0 ask, 1 overwrite, 2 resume, 3 skip, 4 rename; reads the internal code.
  std::int16_t ReplaceSetting() const;
  void ReplaceSetting(std::int16_t value);
  /// Rename pattern for name clashes; "{oldname}" stands for the name without extension.
  std::string RenameRule() const;
  void RenameRule(const std::string& value);
  /// FTP_IMAGE_MODE (default) or FTP_ASCII_MODE.
  FtpTransferModes TransferMode() const;
  void TransferMode(FtpTransferModes value);
  /// Passive (true, default: EPSV, or PASV on IPv4 once the server refused EPSV) or active
  /// (PORT on IPv4, EPRT on IPv6) data connections.
  bool PassiveMode() const;
  void PassiveMode(bool value);
  /// Encryption: 0 none (default), 1 explicit FTPS (AUTH TLS after the greeting), 2 implicit
  /// FTPS (TLS from the first byte; port 990 while RemotePort is 21). Never falls back to plain.
  std::int16_t Security() const;
  void Security(std::int16_t value);
  /// Verify the server's certificate chain and name (default true); false is insecure.
  bool VerifyCertificate() const;
  void VerifyCertificate(bool value);
  /// PEM file of the CAs to trust instead of the system's store ("" = the system's).
  std::string CAFile() const;
  void CAFile(const std::string& value);
  /// The server's public key as "sha256//BASE64"; "" = no pin (default).
  std::string PinnedPublicKey() const;
  void PinnedPublicKey(const std::string& value);
  /// PEM certificate (and chain) presented to the server; "" = none.
  std::string ClientCertificate() const;
  void ClientCertificate(const std::string& value);
  /// The client certificate's PEM key ("" = in the certificate file).
  std::string ClientKey() const;
  void ClientKey(const std::string& value);
  /// Encrypt data connections too (PROT P, default true); false sends PROT C.
  bool ProtectData() const;
  void ProtectData(bool value);
  /// Largest block an upload sends at once, bytes (at least 32).
  std::int32_t MaxChunkSize() const;
  void MaxChunkSize(std::int32_t value);
  /// Data connection receive buffer, bytes (at least 32; 0 = default at connect).
  std::int32_t Rcvbuf() const;
  void Rcvbuf(std::int32_t value);
  /// Data connection send buffer, bytes (at least 32); also sets MaxChunkSize.
  std::int32_t Sndbuf() const;
  void Sndbuf(std::int32_t value);
  /// Speed limit in KiB/s; also sizes the socket buffers. 0 (or less) takes the limit away and
  /// gives the buffers back their defaults.
  void MaxSpeed(std::int32_t value);
  /// Keep-alive command (stored upper case).
  void KeepAliveCommand(const std::string& value);
  /// Keep-alive interval in seconds (0 = off, otherwise 30..1800).
  void KeepAliveSecond(std::int16_t value);
  /// List with MLSD (true) or LIST (false). Read: whether listings go out as MLSD now (false
  /// after the login found that the server has no MLSD).
  bool ListDirByMLSD() const;
  void ListDirByMLSD(bool value);
  /// Send "LIST -al" so hidden entries are listed.
  void ListAll(bool value);
  /// Look a single file up by listing its folder.
  void ListDirForFile(bool value);
  /// Look a single file up with a "*" pattern.
  void ListDirWithAsterisk(bool value);
  /// Keep listings for later look-ups (default true).
  void CacheListing(bool value);
  /// Use UTF-8 on the wire (switches AutoEncoding off).
  void UTF8(bool value);
  /// Decide UTF-8 from the server's FEAT reply at each connect.
  void AutoEncoding(bool value);
  /// Retries of a failed file (the attempt limit becomes value + 1).
  void ReDoTimes(std::int16_t value);
  /// Seconds between a failed attempt of a file and its retry (default 5; 0..3600, others are
  /// cut to that range).
  std::int16_t RetryPause() const;
  void RetryPause(std::int16_t value);
  /// Sync each downloaded file to the disk (fsync) before it counts as transferred (default
  /// false): a crash right after the call then cannot lose it. Write, flush and close errors
  /// fail the file either way.
  bool SyncFiles() const;
  void SyncFiles(bool value);
  /// Transfer without listing the remote side first.
  void WithoutList(bool value);
  /// Recreate the source folder itself below the destination.
  void CreateCorrespondFolder(bool value);
  /// Folder uploads send files whose symbolic link points outside the folder (default false:
  /// such a file fails with 22021; links that stay inside are sent as files).
  void FollowOutsideLinks(bool value);
  /// Hide the Skip buttons of the replace dialog (shared by the thread's components).
  void DisableSkip(bool value);
  /// File name pattern of folder transfers.
  std::string FileType() const;
  void FileType(const std::string& value);
  /// Allowed extensions ("txt.doc" after normalising "*.txt;*.doc").
  std::string FileTypeAllow() const;
  void FileTypeAllow(const std::string& value);
  /// Forbidden extensions, normalised like FileTypeAllow.
  std::string FileTypeForbid() const;
  void FileTypeForbid(const std::string& value);
  /// Largest file a transfer accepts, MiB (0 = no limit).
  void MaxSize(double value);
  /// Largest listing read, MiB (default 64); a longer one fails with 22002.
  double MaxListingBytes() const;
  void MaxListingBytes(double value);
  /// Most lines a listing may have (default 500,000); more fail with 22003.
  std::int32_t MaxListingEntries() const;
  void MaxListingEntries(std::int32_t value);
  /// Let CreateDirectory check for an existing folder first.
  void MKDCheckExist(bool value);
  /// Reply text that means "already exists" to MKD.
  void MKDInfo(const std::string& value);
  /// Report Percent over the whole job instead of the current file.
  void ShowTotalPercent(bool value);
  /// Progress of the current file (or job), percent.
  std::int16_t Percent() const;
  void Percent(std::int16_t value);
  /// Bytes of the current file moved so far.
  double TransferSize() const;
  void TransferSize(double value);
  /// Folder of the trans.sta / cancel.sta status files ("" = none).
  void TranstatePath(const std::string& value);
  /// HTTP proxy host ("" = direct).
  std::string ProxyServer() const;
  void ProxyServer(const std::string& value);
  /// HTTP proxy port (default 80).
  std::int16_t ProxyPort() const;
  void ProxyPort(std::int16_t value);

  // ---- Messages, errors, log ----------------------------------------------------------------
  /// Title of the component's message boxes.
  std::string Title() const;
  void Title(const std::string& value);
  /// The 51 message texts joined by "|"; writing 51 pieces replaces them all.
  std::string Text() const;
  void Text(const std::string& value);
  /// Raise OnError when a method fails (default false).
  bool RaiseErrorEvent() const;
  void RaiseErrorEvent(bool value);
  /// Switches the log file on or off (default off).
  void EnableLog(bool value);
  /// Number of the last error (20061 reads as 10061); 0 when none.
  std::int32_t ErrorNumber() const;
  /// Text of the last error.
  std::string ErrorInfo() const;

  // ---- State --------------------------------------------------------------------------------
  /// Component version, "4.5.10".
  std::string Version() const;
  /// Release date as a short date.
  std::string RelInfo() const;
  /// True while a protocol exchange is outstanding.
  bool Busy() const;
  /// True when the control connection is up and logged in.
  bool Connected() const;
  /// Last directory the server reported (no server contact).
  std::string CurrentDirectory() const;
  /// Protocol state.
  FtpStates FtpState() const;
  /// Last command sent or reply received.
  std::string MessageInfo() const;
  /// Kind of MessageInfo().
  std::int16_t MessageType() const;
  /// Retry notice of the transfer engine ("" while transfers run normally).
  std::string TransferState() const;

  // ---- Session and remote operations -------------------------------------------------------
  /// Opens the control connection and logs in (returns at once when already logged in).
  bool Connect();
  /// Sends QUIT (waiting about a second), closes the control connection, stops the timers.
  bool CloseConnection();
  /// Stops the running operation; false only when waiting for the ABOR reply failed.
  bool Abort();
  /// Skips the current file of a batch transfer (the batch goes on with the next file).
  void AbortCurrent();
  /// Deletes a remote file; the path goes to the server unchanged.
  bool DeleteFile(const std::string& FilePath);
  /// Renames or moves a remote file or folder (RNFR, RNTO).
  bool RenameFile(const std::string& OldFileName, const std::string& NewFileName);
  /// Sends any command and returns the server's whole reply (CR LF included); a negative
  /// reply is a result, not an error. On failure: "ExeFtpCmd:command not understood;N#TEXT".
  std::string ExeFtpCmd(const std::string& cmd, const std::string& Arguments = "");
  /// Asks the server for the working directory (PWD).
  std::string GetCurrentDirectory();

  // ---- HTTP download ------------------------------------------------------------------------
  /// Downloads the URLs in RemotePath ("|"-separated) over HTTP/1.1 to the targets at the same
  /// positions in LocalPath (a folder, or a file path); resumes with Range, uses ProxyServer
  /// when set. Needs no FTP connection. Stops at the first failing URL.
  bool DownloadHttpFile();

  // ---- Transfers ----------------------------------------------------------------------------
  /// Downloads the remote items of RemotePath ("|"-separated files, folders ending with "/"
  /// and patterns such as /pub/*.txt) to the local items at the same positions in LocalPath.
  /// CreateFolder: create a missing local folder of a file item (else error 20010).
  bool DownLoad(bool CreateFolder = true);
  /// Uploads the local items of LocalPath (files, folders ending with "/", patterns) to the
  /// remote items at the same positions in RemotePath ("" = the current directory), then
  /// whatever AppendTransferList queued meanwhile. CreateFolder: create a missing remote folder
  /// of a file item.
  bool UpLoad(bool CreateFolder = true);
  /// Downloads one file by its exact remote path to an exact local file path: nothing in
  /// either is read as a list or a pattern ("a?b|c.txt" is that name), so a name taken from
  /// GetFtpDirectoryInfo can always be fetched. Sets RemotePath and LocalPath; the replace
  /// policy, retries and results are DownLoad's.
  bool DownLoadFile(const std::string& RemoteFile, const std::string& LocalFile);
  /// Uploads one local file by its exact path to an exact remote file path (no lists, no
  /// patterns); otherwise as UpLoad.
  bool UpLoadFile(const std::string& LocalFile, const std::string& RemoteFile);

  // ---- Listings, remote queries and remote directories ---------------------------------------
  /// True when the remote file exists (a directory of that name does not count).
  bool ExistFile(const std::string& FileName);
  /// Size of a remote file from a listing, else from SIZE; -1 when it does not exist, -2 when
  /// it cannot be determined.
  double GetFtpFileSize(const std::string& FilePath);
  /// Entry of one remote file; nothing for a missing name or a directory (20007).
  std::optional<CFtpFile> GetFtpFileInfo(const std::string& FilePath = "");
  /// Entries of a remote folder sorted by name without regard to case; nothing for an empty
  /// folder, a failed listing or a path that names a file (20008).
  std::optional<CFtpFiles> GetFtpDirectoryInfo(const std::string& DirectoryPath = "");
  /// True when the remote directory exists ("" and "/" always do).
  bool ExistDirectory(const std::string& DirectoryName = "");
  /// Creates a remote directory, and its missing parents when Recursive; an existing one
  /// counts as created.
  bool CreateDirectory(const std::string& DirectoryPath, bool Recursive = true);
  /// Removes a remote directory with everything in it ("/" is emptied, never removed).
  bool RemoveDirectory(const std::string& DirectoryPath);
  /// Changes the server's working directory (CWD); CurrentDirectory() follows.
  bool SetCurrentDirectory(const std::string& DirectoryPath);
  /// Parent of the server's working directory ("/" at the top); asks the server with PWD.
  std::string GetParentDirectory();

  // ---- Local files and paths ----------------------------------------------------------------
  /// Creates an empty file and its missing folders; false when the file already exists.
  bool CreateLocalFile(const std::string& FilePath);
  /// Creates a folder and its missing parents.
  bool CreateLocalFolder(const std::string& FolderPath);
  /// Deletes a file, or every file matching a "*"/"?" pattern.
  bool DeleteLocalFile(const std::string& FilePath);
  /// Size in bytes; -1 when the file does not exist, -2 when it cannot be opened.
  double GetLocalFileSize(const std::string& FilePath);
  /// True for an existing file (not a folder, not a pattern).
  bool LocalFileExists(const std::string& FilePath);
  /// True for an existing folder.
  bool LocalFolderExists(const std::string& FolderPath);
  /// Appends (or with OverWrite writes) Text and a line end; keeps a read-only file read-only.
  bool WriteLocalFile(const std::string& FilePath, const std::string& Text, bool OverWrite = false);
  /// The whole file, lines joined by CR LF; "" when missing.
  std::string ReadLocalFile(const std::string& FilePath);
  /// Last name of a path ("/a/b.txt" gives "b.txt").
  std::string GetFileName(const std::string& FilePath);
  /// File name without its extension.
  std::string GetFileNameWEN(const std::string& FilePath);
  /// Text after the last "." of the path.
  std::string GetFileExtendName(const std::string& FilePath);
  /// Last-write time as "YYYY-MM-DD HH:MM:SS"; "" when missing.
  std::string GetLocalFileDate(const std::string& FilePath);
  /// Parent folder of a path ("" when there is none).
  std::string GetParentFolderPath(const std::string& FolderPath);

  // ---- Folder walking and display formats ---------------------------------------------------
  /// Files and folders below FolderPath, full paths joined by "*". Flag 0 lists files, 1
  /// folders, anything else both marked "|0" (file) or "|1" (folder). A last part such as
  /// "*.txt" lists the matching files of that folder only. "" when the folder cannot be read.
  std::string GetFolderFilePath(const std::string& FolderPath, bool Recursive = true,
                                std::int16_t Flag = 2);
  /// Total bytes of the files below a folder (hidden subfolders excluded); 0 when missing.
  /// i is the walk's own recursion marker: hosts pass 0.
  double GetLocalFolderSize(const std::string& FolderPath, std::int32_t i = 0);
  /// Number of files below a folder, or of a pattern's matches in its folder; i as above.
  double GetLocalFolderFileCount(const std::string& FolderPath, std::int32_t i = 0);
  /// Mount points joined by "|"; DriveType 2 removable, 3 fixed, 4 network, 5 optical,
  /// 6 RAM disk, below 1 all.
  std::string GetDriveNames(std::int16_t DriveType = 0);
  /// "1.5 MB", "2 KB", "512 Bytes".
  std::string FormatFileSize(double FileSize);
  /// "01:02:05" (TimeType 0) or "1 Hrs 2 Mins 5 Secs" (TimeType 1).
  std::string FormatTime(std::int32_t Seconds, std::int16_t TimeType = 0);

  // ---- Transfer lists and queue -------------------------------------------------------------
  /// Queues a local file, folder or pattern for the running upload (counted in QueueTotal).
  void AppendTransferList(const std::string& FilePath);
  /// Cancels a queued or listed local path so that the upload leaves it out.
  void RemoveTransferList(const std::string& FilePath);
  /// RemoveTransferList when Delete, AppendTransferList otherwise.
  void ChangeTransferList(const std::string& FilePath, bool Delete = true);
  /// Position of the file being transferred, from 1.
  std::int32_t QueueIndex() const;
  /// Number of files the current job expects.
  std::int32_t QueueTotal() const;
  /// Local paths of the files transferred by the last job, "|"-separated.
  std::string TransferedLocalFiles();
  /// Remote paths of the files transferred by the last job, "|"-separated.
  std::string TransferedRemoteFiles();
  /// Source paths of the files the replace policy skipped, "|"-separated.
  std::string SkippedFiles();
  /// Number of files the last job transferred (each once).
  std::int32_t TransferredFileCount() const;
  /// Number of files the replace policy skipped in the last job.
  std::int32_t SkippedFileCount() const;
  /// Bytes the last job moved over its data connections: a resumed file counts only what was
  /// sent or received, a skipped one nothing.
  double TransferredBytes() const;
  /// Remote folders that could not be listed or entered, and entries that could not be
  /// transferred (a name no file may have, a special file), by the last tree job,
  /// "|"-separated; the job failed with the first of them.
  std::string FailedFiles();
  /// Local paths canceled with RemoveTransferList, "|"-separated.
  std::string CanceledFileList() const;
  /// Paths of the files AbortCurrent abandoned, "|"-separated.
  std::string AbortedFileList() const;

  // ---- Progress -----------------------------------------------------------------------------
  /// Size of the current file in bytes.
  double FileSize() const;
  /// Progress of the whole job in percent (with ShowTotalPercent).
  std::int16_t TotalPercent() const;
  /// Bytes of the job done (with ShowTotalPercent).
  double TotalTransferSize() const;
  /// Bytes the job expects (with ShowTotalPercent).
  double TotalFileSize() const;
  /// Current rate of the file, bytes per second.
  std::int32_t Speed() const;
  /// Average of the job's speed samples, bytes per second.
  std::int32_t SpeedAvg() const;
  /// Whole seconds since the job started.
  std::int32_t ElapsedTime() const;
  /// Whole seconds since the current file started.
  std::int32_t ElapsedTimeCurFile() const;
  /// Estimated seconds left for the current file (at most 2,000,000,000).
  std::int32_t LeftTime();

  // ---- Shell, dialogs, registry and system folders ------------------------------------------
  /// Starts a program with the command line "\"FilePath\" Param" split into words as a shell
  /// would (no shell runs); returns its process id, 0 on failure. WinStyle is accepted (0-4, 6)
  /// and ignored.
  std::int32_t Run(const std::string& FilePath, const std::string& Param = "",
                   std::int32_t WinStyle = 1);
  /// Opens a document, folder or address with xdg-open, or starts an executable file with Param;
  /// above 32 means success, otherwise a shell error code (2: not found).
  std::int32_t Execute(const std::string& FilePath, const std::string& Param = "",
                       std::int32_t WinStyle = 1);
  /// Shows a folder in the file browser; Action 1 shows the folder that holds FilePath.
  bool Explore(const std::string& FilePath, std::int16_t Action = 0,
               const std::string& Param = "");
  /// Asks the provider for a folder; the answer ends with "/" ("" when cancelled).
  std::string ShowBrowseFolderDialog(const std::string& Title = "",
                                     const std::string& InitDir = "");
  /// Asks the provider for a file to save to, proposing the name of FileName.
  std::string ShowSaveFileDialog(const std::string& FileName = "");
  /// Asks the provider for files ("jpg,png" or "*.txt" patterns, else FileType); several are
  /// joined by "|".
  std::string ShowOpenFileDialog(const std::string& FileFilter = "", bool MultiSelect = true);
  /// The component's "Windows" folder, ending with "/".
  std::string GetWindowsPath();
  /// The component's system folder (where the log lives), ending with "/".
  std::string GetSystemPath();
  /// The temporary folder, ending with "/".
  std::string GetTempPath();
  /// A special folder of the user by its "Shell Folders" name ("Desktop", "Personal", ...),
  /// ending with "/"; "GetValueError/" for an unknown name.
  std::string GetShellFolder(const std::string& name);
  /// Shows the about box through the provider.
  void About();
  /// Creates (or opens) the key SubKey under the root hKey ("HKEY_CURRENT_USER" or "&H80000001").
  bool RegCreate(const std::string& hKey, const std::string& SubKey);
  /// Sets the default value of the key as text, creating the key when needed.
  bool RegSetValue(const std::string& hKey, const std::string& SubKey, const std::string& Value);
  /// Writes the value name of an existing key as "REG_SZ" text or a "REG_DWORD" number.
  bool RegSetValueEx(const std::string& hKey, const std::string& SubKey, const std::string& name,
                     const std::string& Value, const std::string& strType = "REG_SZ");
  /// Deletes the key with all its subkeys.
  bool RegDelete(const std::string& hKey, const std::string& SubKey);
  /// Deletes the default value of the key.
  bool RegDeleteValue(const std::string& hKey, const std::string& SubKey);
  /// Deletes the value name of the key.
  bool RegDeleteValueEx(const std::string& hKey, const std::string& SubKey,
                        const std::string& name);
  /// The default value of the key as text, "GetValueError" on failure.
  std::string RegGetValue(const std::string& hKey, const std::string& SubKey);
  /// The value name as text (a number in decimal, binary as "1A 0 FF "), "GetValueError" on
  /// failure.
  std::string RegGetValueEx(const std::string& hKey, const std::string& SubKey,
                            const std::string& name);
  /// True when the key exists.
  bool RegExists(const std::string& hKey, const std::string& SubKey);


  /// Internal state, for the component's own subsystems.
  detail::Core& core() { return *core_; }

 private:
  std::unique_ptr<detail::Core> core_;
};

}  // namespace quorvi
