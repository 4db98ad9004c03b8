#pragma once

namespace korvrestore {

/// Makes std::cout and std::cerr wait when their descriptor is non-blocking and takes no more, as
/// it may be if another process shares it. Called once, before anything is written.
void make_standard_streams_wait();

}  // namespace korvrestore
