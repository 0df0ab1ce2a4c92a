#pragma once

namespace sonivert {

// One abort flag shared by every cipher and hash object of the process. Once a step fails it is
// raised, and every later step refuses to work until a new cipher front end lowers it again.
bool StopProcessing();
void setStopProcessing(bool stop);

} // namespace sonivert
