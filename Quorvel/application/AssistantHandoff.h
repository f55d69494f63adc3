// Keeps the files that the assistant server reads in step with the application.
#pragma once

namespace quorvel {

class Application;

/// Writes the active workspace and the build settings of all recorded apps where the server reads them; a
/// file without content goes away. To be called after each change of the active workspace, of its name, of
/// the recorded apps or of a build configuration. A failure is logged: the change itself stands, and the next
/// one writes the files again.
void refreshAssistantHandoff(Application& application);

} // namespace quorvel
