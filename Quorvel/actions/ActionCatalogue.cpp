#include "Quorvel/actions/ActionCatalogue.h"

#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/AppSettingsActions.h"
#include "Quorvel/actions/AssistantActions.h"
#include "Quorvel/actions/BuildActions.h"
#include "Quorvel/actions/CheckActions.h"
#include "Quorvel/actions/ChecklistActions.h"
#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/actions/CompetitorActions.h"
#include "Quorvel/actions/ConflictActions.h"
#include "Quorvel/actions/HistoryActions.h"
#include "Quorvel/actions/HomeActions.h"
#include "Quorvel/actions/KeyActions.h"
#include "Quorvel/actions/KeywordActions.h"
#include "Quorvel/actions/LocaleActions.h"
#include "Quorvel/actions/MonitorActions.h"
#include "Quorvel/actions/NotesActions.h"
#include "Quorvel/actions/PreviewActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/actions/ReleaseActions.h"
#include "Quorvel/actions/RepositoryActions.h"
#include "Quorvel/actions/RevenueActions.h"
#include "Quorvel/actions/RevenueAnalysisActions.h"
#include "Quorvel/actions/ReviewActions.h"
#include "Quorvel/actions/ReviewReplyActions.h"
#include "Quorvel/actions/ScreenshotActions.h"
#include "Quorvel/actions/ShipActions.h"
#include "Quorvel/actions/StoreActions.h"
#include "Quorvel/actions/SubmissionActions.h"
#include "Quorvel/actions/TestFlightActions.h"
#include "Quorvel/actions/TestNotesActions.h"
#include "Quorvel/actions/TextActions.h"
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
        described<ShowHome,                                                           //
                  PrepareKey, SetKey, CheckKey, KeyStatus, PlanKeyRemoval, ForgetKey, //
                  ListWorkspaces, CreateWorkspace, RenameWorkspace, UseWorkspace, PlanWorkspaceDeletion,
                  DeleteWorkspace,                                                            //
                  ListApps, ListAccountApps, ImportApps, PlanAppRemoval, RemoveApps, MoveApp, //
                  ShowApp, SetApp, ListRules, SetRule, ResetRule,                             //
                  ListVersions, PlanVersion, CreateVersion, ListBuilds,                       //
                  PullTexts, TextStatus, DiffTexts, TextStatusOfAllApps, DiffTextsOfAllApps, DiffRemote,
                  CheckTexts, ShowTexts, WriteTexts, PlanPush, PushTexts, PlanPushOfAllApps,
                  PushTextsOfAllApps, PlanRepository,
                  WriteRepository,                                                                          //
                  ListConflicts, ResolveConflicts, PrepareConflictEdit, FinishConflictEdit,                 //
                  ListRuns, ShowRun, RevertRun,                                                             //
                  AddLocale, ListLocales, PlanLocaleRemoval, RemoveLocales, SwitchLocales, SetLocales,      //
                  ImportTexts, ExportTexts, TidyTexts,                                                      //
                  PlanTranslation, TranslateTexts, AcceptTexts, PlanEnglishKeywords, ExpandEnglishKeywords, //
                  PlanReleaseNotes, DraftReleaseNotes, WriteReleaseNotes,                                   //
                  ShowCosts,                                                                                //
                  PullScreenshots, ImportScreenshots, CompareScreenshots, PlanScreenshotPush, PushScreenshots,
                  PullPreviews, ImportPreviews, ComparePreviews, PlanPreviewPush,
                  PushPreviews, //
                  ListSchemes, ShowBuildConfig, SaveBuildConfig, PlanBuild, RunBuild, ListAwaitedBuilds,
                  ResumeBuild, BumpVersion,                                                             //
                  PlanBuildAttachment, AttachBuild, PlanComplianceAnswer, AnswerCompliance,             //
                  ListTestGroups, PlanTestGroup, CreateTestGroup, ListTesters, PlanTesters, AddTesters, //
                  ShowTestNotes, PlanTestNotes, WriteTestNotes, PlanBuildToGroups, AddBuildToGroups,
                  PlanBetaReview, SubmitForBetaReview,          //
                  ShowChecklist, PlanSubmission, SubmitVersion, //
                  PlanReviewRemoval, RemoveFromReview,          //
                  PlanRelease, ReleaseVersion, PlanReleaseType, SetReleaseType, ShowPhasedRelease,
                  PlanPhasedRelease, ChangePhasedRelease,                                        //
                  PlanShip, Ship,                                                                //
                  CheckReviews, WatchReviews,                                                    //
                  SearchStore, LookUpStoreApps, ListStoreHints, ShowStoreCharts, ShowStorePages, //
                  TrackKeywords, PlanUntracking, UntrackKeywords, PlanKeywordRefresh, RefreshKeywords,
                  ShowRanks, ListRankAlerts, SuggestKeywords, ExportRanks,                   //
                  AddCompetitors, ListCompetitors, PlanCompetitorRemoval, RemoveCompetitors, //
                  ShowRevenue, ExportRevenue, PlanRevenueAnalysis, AnalyseRevenue,           //
                  AssistantStatus, ConnectAssistants, DisconnectAssistants, DescribeAssistantEntry,
                  SetAssistantPermission, //
                  RefreshReviews, ClassifyReviews, ListReviews, CountReviews, ShowReview, DraftReviewReply,
                  RestoreReviewReply, PlanReviewReply, SendReviewReply>();
    return actions;
}

const ActionDescription* findAction(std::string_view name) {
    const auto actions = allActions();
    const auto found =
        std::ranges::find(actions, name, [](const ActionDescription& one) { return one.info.name; });
    return found == actions.end() ? nullptr : &*found;
}

} // namespace quorvel
