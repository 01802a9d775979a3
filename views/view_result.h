#pragma once

// What the operations of a view return: kViewOk, or one of the others.
using ViewResult = int;

inline constexpr ViewResult kViewOk = 0;
// The report file isn't open.
inline constexpr ViewResult kViewFileClosed = 1;
// What the operation needs was in no state for it: the view, for a call out of order, or the
// console, which failed in EndTest, ShowTestProgress or ShowDeviceScan.
inline constexpr ViewResult kViewBadState = 45;
// The console stream failed in any other operation.
inline constexpr ViewResult kViewStreamFailed = 46;
// An assertion's text could not be written.
inline constexpr ViewResult kViewAssertFailed = 47;
