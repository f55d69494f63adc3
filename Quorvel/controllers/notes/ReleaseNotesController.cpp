#include "Quorvel/controllers/notes/ReleaseNotesController.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/ai/translation/GeneratedTexts.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <system_error>

namespace quorvel {

namespace {

constexpr FieldType noteFields[] = {FieldType::releaseNotes, FieldType::promotionalText};
bool isWithin(const std::filesystem::path& path, const std::filesystem::path& folder) {
    std::error_code ignored;
    const auto relative = std::filesystem::weakly_canonical(path, ignored)
                              .lexically_relative(std::filesystem::weakly_canonical(folder, ignored));
    return !relative.empty() && *relative.begin() != "..";
}

constexpr std::size_t longestBody = 8 << 10; // bytes; nothing is made of the rest

// The commits of a range, as many as are read, and whether there are more.
struct ReadRange {
    std::vector<ClassifiedCommit> commits;
    bool isTruncated = false;
};

ReadRange readRange(const GitRepoReader& reader, const std::filesystem::path& root,
                    const VersionRange& range) {
    ReadRange read;
    reader.readCommits(
        root, range,
        [&](GitCommit commit) {
            if (std::ssize(read.commits) == defaultMaxCommits) {
                read.isTruncated = true;
                return;
            }
            if (commit.body.size() > longestBody)
                commit.body = repairUTF8(commit.body.substr(0, longestBody));
            read.commits.push_back(CommitFilter::classify(std::move(commit)));
        },
        defaultMaxCommits + 1);
    return read;
}

ClassifiedCommit& commitNamed(std::vector<ClassifiedCommit>& commits, const VersionRange& range,
                              const std::string& name) {
    constexpr std::size_t shortestName = 4; // as git has it
    const std::string wanted = asciiLowercase(trim(name));
    const auto isWanted = [&](const ClassifiedCommit& each) { return each.commit.sha.starts_with(wanted); };
    const auto found = std::ranges::find_if(commits, isWanted);
    if (wanted.size() < shortestName || found == commits.end())
        throw OperationRefused(
            Refusal::unknownCommit,
            fmt::format("\"{}\" begins the hash of no commit of {}", escapeControls(name), range.text()));
    if (std::find_if(std::next(found), commits.end(), isWanted) != commits.end())
        throw OperationRefused(Refusal::unknownCommit,
                               fmt::format("\"{}\" begins the hashes of several commits of {}",
                                           escapeControls(name), range.text()));
    return *found;
}

// A text that differs from App Store Connect's and that no model wrote. A cleared one loses nothing.
bool isUnpushedEdit(const MetadataStore& store, const ReviewMarks& marks, const std::string& locale,
                    FieldType field) {
    const std::string local = store.read(locale, field).value_or("");
    const std::string pulled = store.read(locale, field, TextSide::pulled).value_or("");
    return !isBlank(local) && trim(local) != trim(pulled) && !marks.find(locale, field, local);
}

std::string textOf(const ReleaseNotesDraft& draft, FieldType field) {
    return field == FieldType::releaseNotes ? draft.whatsNew : draft.promotionalText;
}

std::vector<DraftedText> draftedTexts(const ReleaseNotesDraft& draft, const ReleaseNotesLimits& limits) {
    std::vector<DraftedText> texts;
    for (const FieldType field : noteFields) {
        const std::size_t limit = field == FieldType::releaseNotes ? limits.whatsNew : limits.promotionalText;
        DraftedText text{.field = field,
                         .text = textOf(draft, field),
                         .length = 0,
                         .limit = static_cast<std::int64_t>(limit),
                         .problem = std::nullopt};
        text.length = static_cast<std::int64_t>(graphemeCount(text.text));
        if (text.length > text.limit)
            text.problem = ReleaseNotesError::lengthBudgetExhausted(std::string(attributeOf(field))).what();
        texts.push_back(std::move(text));
    }
    return texts;
}

std::optional<std::string> presentText(const MetadataFolder& folder, const std::string& locale,
                                       FieldType field, TextSide side) {
    auto text = MetadataStore(folder).read(locale, field, side);
    return text && !isBlank(*text) ? std::optional(std::string(trim(*text))) : std::nullopt;
}

} // namespace

std::filesystem::path ReleaseNotesController::repositoryOf(const ReleaseNotesOrder& order) const {
    if (order.repository) return reader_.findRoot(*order.repository);
    std::exception_ptr first; // of the likeliest place
    for (const auto& place : order.places) {
        try {
            return reader_.findRoot(place);
        } catch (const GitRepoError& error) {
            if (error.kind() != GitRepoError::Kind::notARepository) throw;
            if (!first) first = std::current_exception();
        }
    }
    const auto folder = metadata_->folder().rootURL;
    try {
        const auto root = reader_.findRoot(folder);
        // A home that is kept in a repository, as settings are, says nothing about the app.
        if (order.home.empty() || !isWithin(folder, order.home) || !isWithin(order.home, root)) return root;
        if (!first) throw GitRepoError::notARepository(folder.string());
    } catch (const GitRepoError&) {
        if (!first) throw;
    }
    std::rethrow_exception(first);
}

ReleaseNotesLimits ReleaseNotesController::limitsOf(const ManagedApp& app) const {
    TranslationPipeline::Settings settings;
    settings.rules = access_.records().rules(app.id);
    return {TranslationPipeline::limitFor(FieldType::releaseNotes, settings),
            TranslationPipeline::limitFor(FieldType::promotionalText, settings)};
}

ReleaseNotesContext ReleaseNotesController::contextOf(const ManagedApp& app,
                                                      const ReleaseNotesPlan& plan) const {
    ReleaseNotesContext context{.appName = app.displayName,
                                .brandVoice = app.brandVoice,
                                .protectedTerms = app.protectedTerms,
                                .previousWhatsNew = std::nullopt,
                                .previousPromotionalText = std::nullopt,
                                .commits = plan.commits};
    if (!plan.context) return context;
    // The version on sale, where it was pulled. A new version begins with its promotional text.
    const MetadataFolder folder = metadata_->folder();
    const ContextID next = requireContextID(*plan.context);
    const auto live = folder.contextFolder({next.platform, AppStoreVersionStateClass::live});
    context.previousWhatsNew = presentText(live, plan.locale, FieldType::releaseNotes, TextSide::local);
    context.previousPromotionalText =
        presentText(live, plan.locale, FieldType::promotionalText, TextSide::local);
    if (!context.previousPromotionalText)
        context.previousPromotionalText = presentText(folder.contextFolder(next), plan.locale,
                                                      FieldType::promotionalText, TextSide::pulled);
    return context;
}

ReleaseNotesPlan ReleaseNotesController::plan(const ReleaseNotesOrder& order) const {
    const ManagedApp app = access_.record();
    const ReleaseNotesLimits limits = limitsOf(app);
    ReleaseNotesPlan plan{.app = referenceOf(app), .locale = sourceLocaleOf(app)};
    plan.model = PenwiseConfig::defaultModel;
    plan.costIsAtMost = !ClaudePricing::isKnown(plan.model);
    plan.whatsNewLimit = static_cast<std::int64_t>(limits.whatsNew);
    plan.promotionalTextLimit = static_cast<std::int64_t>(limits.promotionalText);
    try {
        const auto [context, folder] = metadata_->editable(order.context, order.dryRun);
        const AppContexts contexts = metadata_->contexts();
        plan.context = context.text();
        if (const auto version = contexts.savedContext(context)) plan.version = version->versionString;
        plan.isFirstVersion = contexts.releaseOf(context) == Release::first;
        const MetadataStore store(folder);
        const ReviewMarks marks = ReviewMarks::load(folder);
        for (const FieldType field : noteFields)
            if (!(plan.isFirstVersion && field == FieldType::releaseNotes) &&
                isUnpushedEdit(store, marks, plan.locale, field))
                plan.edits.push_back(field);
    } catch (const OperationRefused& refused) {
        if (refused.refusal() != Refusal::noContextSelected || order.mustBeWritable) throw;
        if (order.context && requireContextID(*order.context).stateClass == AppStoreVersionStateClass::live)
            refuseReadOnly("");
    }

    const std::filesystem::path root = repositoryOf(order);
    plan.repository = root.string();
    plan.isShallow = reader_.isShallow(root);
    if (order.from)
        plan.range = {.from = *order.from, .source = VersionRange::Source::given};
    else
        plan.range = VersionRangeResolver(reader_).resolve(root, plan.version);
    if (order.to) plan.range.to = *order.to;
    auto read = readRange(reader_, root, plan.range);
    plan.commits = std::move(read.commits);
    plan.isTruncated = read.isTruncated;
    for (const std::string& name : order.include)
        commitNamed(plan.commits, plan.range, name).include = true;
    for (const std::string& name : order.exclude)
        commitNamed(plan.commits, plan.range, name).include = false;

    plan.prompt = ReleaseNotesGenerator::prompt(contextOf(app, plan), limits);
    if (plan.prompt)
        plan.estimatedCostUSD = ClaudePricing::estimatedCostUSD(
            plan.model, static_cast<double>(plan.prompt->system.size() + plan.prompt->user.size()),
            static_cast<double>(limits.whatsNew + limits.promotionalText));
    return plan;
}

ReleaseNotesReport ReleaseNotesController::draft(const ReleaseNotesPlan& plan,
                                                 std::shared_ptr<const ClaudeClientProtocol> claude,
                                                 KeptAnswers keptAnswers) const {
    const ManagedApp app = access_.record();
    const ReleaseNotesLimits limits = limitsOf(app);
    const ReleaseNotesGenerator generator({.client = std::move(claude), .model = plan.model});
    const auto made = generator.generate(contextOf(app, plan), limits, keptAnswers);
    return {.app = plan.app,
            .context = plan.context,
            .version = plan.version,
            .locale = plan.locale,
            .repository = plan.repository,
            .range = plan.range,
            .commits = plan.commits,
            .texts = draftedTexts(made.draft, limits),
            .attempts = made.attempts,
            .costUSD = made.cost.costUSD,
            .costIsAtMost = plan.costIsAtMost};
}

WrittenNotes ReleaseNotesController::write(const NotesToWrite& notes) {
    const ManagedApp app = access_.record();
    const ContextID context = metadata_->editable(notes.context).context;
    WrittenNotes result{
        .app = referenceOf(app), .context = context.text(), .locale = sourceLocaleOf(app), .texts = {}};
    bool isProtected = false;
    for (const ManagedLocale& locale : access_.locales(app))
        if (locale.code == result.locale) isProtected = locale.aiSafeMode;
    metadata_->change(
        OperationKind::writeNotes, result.context, [&](auto& operation, const MetadataStore& store) {
            operation.status("Writing the release notes…");
            const bool isFirst = metadata_->contexts().releaseOf(context) == Release::first;
            GeneratedTexts generated(store, access_.clock()());
            const ReviewMarks marks = ReviewMarks::load(store.folder());
            for (DraftedText& draft : draftedTexts(notes.draft, limitsOf(app))) {
                if (isBlank(draft.text)) continue;
                const FieldType field = draft.field;
                const std::string present(trim(store.read(result.locale, field).value_or("")));
                WrittenNotes::Text text{.draft = std::move(draft),
                                        .outcome = NoteOutcome::written,
                                        .file = store.folder().fieldFile(result.locale, field).string(),
                                        .backup = std::nullopt};
                if (isFirst && field == FieldType::releaseNotes)
                    text.outcome = NoteOutcome::firstVersion;
                else if (present == text.draft.text)
                    text.outcome = NoteOutcome::unchanged;
                else if (isProtected && !present.empty())
                    text.outcome = NoteOutcome::safeMode;
                else if (!notes.replaceEdits && isUnpushedEdit(store, marks, result.locale, field))
                    text.outcome = NoteOutcome::edited;
                else if (const auto written =
                             generated.write(result.locale, field, text.draft.text, ReviewMark::generated);
                         written.kept)
                    text.backup = written.kept->native();
                result.texts.push_back(std::move(text));
            }
            access_.records().addMissingLocales(app.id, std::vector{result.locale});
        });
    return result;
}

} // namespace quorvel
