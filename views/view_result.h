#pragma once

// What the operations of a view return: kViewOk, or one of the others.
using ViewResult = int;

inline constexpr ViewResult kViewOk = 0;
// The report file isn't open.
inline constexpr ViewResult kViewFileClosed = 1;
// The call came out of order, or the console failed in EndTest, ShowTestProgress, ShowDeviceScan.
inline constexpr ViewResult kViewOutOfOrder = 45;
// The console failed in any other operation.
inline constexpr ViewResult kViewStreamFailed = 46;
// An assertion's text could not be written.
inline constexpr ViewResult kViewAssertFailed = 47;
