#pragma once

namespace com::halcyon::deviceconfig {

// True once the library was loaded into a Java VM; the client then refuses every request.
bool isLoadedInJavaProcess();

// Logs the refusal and answers true in a Java process.
bool refuseInJavaProcess();

}  // namespace com::halcyon::deviceconfig
