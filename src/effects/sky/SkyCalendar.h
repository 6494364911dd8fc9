// Dates for what stands in the sky.
#pragma once

// The Julian date of a day of the Gregorian calendar (H. Fliegel and T. Van Flandern, "A machine algorithm for
// processing calendar dates", 1968), in whole days and `hours`. Months may be 0 and days may lie outside their month.
double julian_date(int year, int month, int day, double hours);

// How far the moon has gone from one new moon to the next, 0 to 1, at a Julian date in universal time: 0.5 is full.
// From the elements and the largest perturbations of P. Duffett-Smith, "Practical astronomy with your calculator" (2nd
// edition, 1981), for the epoch 1980.0.
double moon_phase(double julian);
