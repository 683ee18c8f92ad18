#pragma once

/// Bounds on memory and processor time, against a file system made to exhaust them.
void limitResources();

/// From here on the process can't open anything, start anything or reach the network: only the system calls
/// that reading a card and writing the target take are let through, others fail with EPERM. Where the kernel
/// has no such filter, work goes on without it.
void confineSystemCalls();
