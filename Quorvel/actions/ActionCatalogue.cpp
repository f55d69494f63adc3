#include "Quorvel/actions/ActionCatalogue.h"

#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/AppSettingsActions.h"
#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/HomeActions.h"
#include "Quorvel/actions/KeyActions.h"
#include "Quorvel/actions/LocaleActions.h"
#include "Quorvel/actions/MonitorActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/TranslationActions.h"
#include "Quorvel/actions/TreeActions.h"
#include "Quorvel/actions/VersionActions.h"
#include "Quorvel/actions/WorkspaceActions.h"

#include <algorithm>

namespace quorvel {

namespace {

template <typename... Actions>
constexpr std::array<ActionDescription, sizeof...(Actions)> described() {
    return {describeAction<Actions>()...};
}

} // namespace

std::span<const ActionDescription> allActions() {
    static constexpr auto actions =
        described<ShowHome,                                                                   //
                  PrepareKey, SetKey, CheckKey, KeyStatus, PlanKeyRemoval, ForgetKey,         //
                  ListWorkspaces, CreateWorkspace, RenameWorkspace, UseWorkspace,             //
                  PlanWorkspaceDeletion, DeleteWorkspace,                                     //
                  ListApps, ListAccountApps, ImportApps, PlanAppRemoval, RemoveApps, MoveApp, //
                  ShowApp, SetApp, ListRules, SetRule, ResetRule,                             //
                  ListVersions, PlanVersion, CreateVersion, ListBuilds,                       //
                  CheckReviews, WatchReviews,                                                 //
                  PullTexts, TextStatus, DiffTexts, PlanPush, PushTexts,                      //
                  ListRuns, ShowRun, RevertRun,                                               //
                  AddLocale, ListLocales, SwitchLocales, SetLocales,                          //
                  ImportTexts, ExportTexts, TidyTexts,                                        //
                  PlanTranslation, TranslateTexts, AcceptTexts, PlanEnglishKeywords, ExpandEnglishKeywords,
                  ShowCosts,                                              //
                  PullScreenshots, ImportScreenshots, CompareScreenshots, //
                  PlanScreenshotPush, PushScreenshots>();
    return actions;
}

const ActionDescription* findAction(std::string_view name) {
    const auto actions = allActions();
    const auto found =
        std::ranges::find(actions, name, [](const ActionDescription& one) { return one.info.name; });
    return found == actions.end() ? nullptr : &*found;
}

} // namespace quorvel
