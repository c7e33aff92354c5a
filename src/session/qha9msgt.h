// The messages: number, name and text of each, in one list.  A row's number is its place.
// Rows that no code of the engine issues stand for front ends and keep the numbers of the
// others; rows 44 to 71 are those of the statistics points.
#pragma once

#include <cstdint>

namespace kvern {

// clang-format off
#define KVERN_MESSAGES(row) \
    row(0, unknown, "KVERN:0:Message(No.%d) not found!!\r\n") \
    row(1, nooption, "KVERN:1:Option (%s) is not specified.\r\n") \
    row(2, exclusive, "KVERN:2:Exclusive options (%s), (%s) are specified.\r\n") \
    row(3, duplicate, "KVERN:3:Duplicate options (%s) are specified.\r\n") \
    row(4, badoption, "KVERN:4:Invalid option (%s) is specified.\r\n") \
    row(5, badvalue, "KVERN:5:Invalid value (%s) is specified.\r\n") \
    row(6, syntax, "KVERN:6:Syntax error (%s).\r\n") \
    row(7, keyfield, "KVERN:7:The mistake is found in the specification of the key-field(%d).\r\n") \
    row(8, sumfield, "KVERN:8:The mistake is found in the specification of the summation-field(%d).\r\n") \
    row(9, rcnfield, "KVERN:9:The mistake is found in the specification of the reconstruction-field(%d).\r\n") \
    row(10, selfield, "KVERN:10:The mistake is found in the specification of the selection-field(%d).\r\n") \
    row(11, badenvironment, "KVERN:11:Invalid environment variable is specified.\r\n") \
    row(12, badstartup, "KVERN:12:Invalid startup file is specified.\r\n") \
    row(13, startupmistake, "KVERN:13:The mistake is found in startup file.\r\n") \
    row(14, prim, "KVERN:14:The mistake is found in KVRNPRIM(%s) specified by the kvrnopen function.\r\n") \
    row(15, fileblock, "KVERN:15:The mistake is found in KVRNFILE specified by the kvrnopen function.\r\n") \
    row(16, samefields, "KVERN:16:Positions of key field and summation field, or positions of summation fields are identical.\r\n") \
    row(17, nofunction, "KVERN:17:Non-support function is specified.\r\n") \
    row(18, putuse, "KVERN:18:Invalid use for kvrnput function.\r\n") \
    row(19, getuse, "KVERN:19:Invalid use for kvrnget function.\r\n") \
    row(20, mergeuse, "KVERN:20:Invalid use for kvrnmrge function.\r\n") \
    row(21, norecord, "KVERN:21:Record address is not specified in %s function.\r\n") \
    row(22, reclength, "KVERN:22:Invalid record length is specified in %s function.\r\n") \
    row(23, nostorage, "KVERN:23:An area necessary for KVERN's working cannot be secured.\r\n") \
    row(24, messagefull, "KVERN:24:The capacity of the message file was insufficient. The output to the message file discontinued.\r\n") \
    row(25, tempspace, "KVERN:25:Not enough temporary file space.\r\n") \
    row(26, tempcreate, "KVERN:26:The temporary file cannot be created.\r\n") \
    row(27, nofile, "KVERN:27:File(%s) does not exist.\r\n") \
    row(28, samefile, "KVERN:28:Same file(%s) is specified.\r\n") \
    row(29, fileformat, "KVERN:29:Invalid format of file (%s).\r\n") \
    row(30, fileattribute, "KVERN:30:Invalid attribute of file (%s).\r\n") \
    row(31, noreclength, "KVERN:31:Record length is not specified.\r\n") \
    row(32, open, "KVERN:32:Error occurred during file (%s) open.(%d)\r\n") \
    row(33, toomanyfiles, "KVERN:33:There are too many files open in the system or in the process.\r\n") \
    row(34, close, "KVERN:34:Error occurred during file (%s) close.(%d)\r\n") \
    row(35, read, "KVERN:35:Error occurred during the file (%s) reading.(%d)\r\n") \
    row(36, write, "KVERN:36:Error occurred during the file (%s) writing.(%d)\r\n") \
    row(37, noreadperm, "KVERN:37:There is no reference permission in file(%s).\r\n") \
    row(38, nowriteperm, "KVERN:38:There is no writing permission in the file(%s).\r\n") \
    row(39, nopermission, "KVERN:39:There is no permission for reference or writing on the file(%s).\r\n") \
    row(40, unsorted, "KVERN:40:The string was not sorted.\r\n") \
    row(41, overflow, "KVERN:41:The overflow occurred at the summation process. Therefore, the summation process was interrupted.\r\n") \
    row(42, nosumfield, "KVERN:42:Summation field did not exist on the input record. Therefore, the summation process was discontinued.\r\n") \
    row(43, logic, "KVERN:43:Logical error occurred at KVERN.(%s-%d)\r\n") \
    row(44, inputrecords, "KVERN:44:Number of input records is %u.\r\n") \
    row(45, outputrecords, "KVERN:45:Number of output records is %u.\r\n") \
    row(46, suppressed, "KVERN:46:Number of suppress record is %u.\r\n") \
    row(47, inputof, "KVERN:47:Number of input records for %s is %u.\r\n") \
    row(48, outputof, "KVERN:48:Number of output records for %s is %u.\r\n") \
    row(49, filtered, "KVERN:49:Number of suppress records for SELECT is %u.\r\n") \
    row(50, folded, "KVERN:50:Number of suppress records for SUM is %u.\r\n") \
    row(51, equalsgone, "KVERN:51:Number of suppress records for SUPPRESS is %u.\r\n") \
    row(52, starts, "KVERN:52:----[KVERN starts at %s.]---- \r\n") \
    row(53, stops, "KVERN:53:----[KVERN stopped at %s.]---- \r\n\r\n") \
    row(54, elapsed, "KVERN:54:ELAPSED TIME is %d : %d.\r\n") \
    row(55, cputime, "KVERN:55:CPU TIME is %s.\r\n") \
    row(56, phasetime, "KVERN:56:ELAPSED TIME of %d phase is %d : %d.\r\n") \
    row(57, phasecpu, "KVERN:57:CPU TIME of %d phase is %s.\r\n") \
    row(58, strings, "KVERN:58:Number of created strings is %u.\r\n") \
    row(59, inputblocks, "KVERN:59:Number of input blocks for %s is %d.\r\n") \
    row(60, outputblocks, "KVERN:60:Number of output blocks is %d.\r\n") \
    row(61, tempwrites, "KVERN:61:Number of writing into temporary file for %s is %d.\r\n") \
    row(62, tempreads, "KVERN:62:Number of reading from temporary file for %s is %d.\r\n") \
    row(63, orderblocks, "KVERN:63:Number of WBs is %d at phase-2.\r\n") \
    row(64, indexblocks, "KVERN:64:Number of WBs is %d at phase-3(index).\r\n") \
    row(65, datablocks, "KVERN:65:Number of WBs is %d at phase-3(data).\r\n") \
    row(66, incore, "KVERN:66:In-core sort is selected.\r\n") \
    row(67, buffersize, "KVERN:67:%s buffer size is %d bytes.\r\n") \
    row(68, recordsize, "KVERN:68:Internal record length is %u bytes.\r\n") \
    row(69, recordsheld, "KVERN:69:Number of records in virtual storage is %d.\r\n") \
    row(70, tempfiles, "KVERN:70:Number of used temporary files is %d.\r\n") \
    row(71, storage, "KVERN:71:Working storage size is %dKB.\r\n") \
    row(72, noselfield, "KVERN:72:Selection field did not exist on the input record.\r\n") \
    row(73, norcnfield, "KVERN:73:Reconstruction field did not exist on the input record.\r\n") \
    row(74, badkeycode, "KVERN:74:Unreasonable code is found in the key field.\r\n") \
    row(75, filesystem, "KVERN:75:Error occurred in file system(%s).\r\n") \
    row(76, argumentfile, "KVERN:76:The mistake is found in argument file.\r\n") \
    row(77, symlinks, "KVERN:77:Number of symbolic links encountered during path name %s traversal exceeds MAXSYMLINKS.\r\n") \
    row(78, longpath, "KVERN:78:File path name %s is too long.\r\n") \
    row(79, pathprefix, "KVERN:79:A component of the path prefix of %s is not a directory.\r\n") \
    row(80, isdirectory, "KVERN:80:Specified %s is a directory.\r\n") \
    row(81, devicefull, "KVERN:81:No space left on the output device.\r\n") \
    row(82, filesize, "KVERN:82:File(%s) size exceeds the process's file size limit or the maximum file size.\r\n") \
    row(83, systemcall, "KVERN:83:Error occurred during system call or library function (%s)(%d).\r\n") \
    row(84, systemcallpath, "KVERN:84:Error occurred during system call or library function (%s)(%d) (path name:%s).\r\n") \
    row(85, loading, "KVERN:85:Error occurred during kvern loading.\r\n") \
    row(86, nodelimiter, "KVERN:86:Line feed did not exist on the record specified in %s function.\r\n") \
    row(87, nokeyfield, "KVERN:87:Key field did not exist on the input record.\r\n") \
    row(88, badlength, "KVERN:88:Invalid record length is specified.\r\n") \
    row(89, badsumcode, "KVERN:89:Unreasonable code is found in the specification of the summation-field(%d). Therefore, the summation process was interrupted.\r\n") \
    row(90, kanji, "KVERN:90:Error occurred during kanji code conversion (%s)(%d).\r\n") \
    row(91, tempsize, "KVERN:91:Size of temporary file for %s is %d bytes.\r\n") \
    row(92, mergebuffers, "KVERN:92:Number of buffer is %d at phase-3.\r\n")
// clang-format on

#define KVERN_MESSAGE_NUMBER(number, name, text) msg_##name = (number),
enum msgno : uint32_t { KVERN_MESSAGES(KVERN_MESSAGE_NUMBER) };
#undef KVERN_MESSAGE_NUMBER

constexpr uint32_t msgrows = 93;

// The texts by number.  Constants only: the checker sees no initializer here.
extern const char *const qha9msgt[msgrows]; // NOLINT(bugprone-dynamic-static-initializers)

} // namespace kvern
