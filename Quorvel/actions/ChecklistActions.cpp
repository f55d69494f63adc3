#include "Quorvel/actions/ChecklistActions.h"

namespace quorvel {

ShowChecklist::Result ShowChecklist::perform(Application& application, const Request& request,
                                             const ActionProgress& progress) {
    progress.step({"Asking App Store Connect…", {}, 0});
    return {openUnchanged(application, targetOf(request))
                .session->release->checklist(request.context, dryRunOf(request))};
}

} // namespace quorvel
