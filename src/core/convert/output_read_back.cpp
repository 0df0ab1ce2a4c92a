#include "core/convert/output_read_back.h"

#include "core/convert/option_tokens.h"

#include <QPromise>
#include <QThreadPool>
#include <memory>

namespace sonivert {

ExpectedSound expectedSoundOf(const EncodeTask &task)
{
    const bool audio = task.plan
        ? task.plan->audio
        : !splitOptionWords(task.outputOptions).contains(QStringLiteral("-an"));
    return ExpectedSound { audio,
        task.facts.audioDurationUs > 0 ? task.facts.audioDurationUs : task.facts.durationUs,
        task.cut, task.facts.audioTrack };
}

QFutureWatcher<OutputVerdict> *readBackLater(const EncodeTask &task, QObject *parent)
{
    auto promise = std::make_shared<QPromise<OutputVerdict>>();
    auto *watcher = new QFutureWatcher<OutputVerdict>(parent);
    watcher->setFuture(promise->future());
    promise->start();
    QThreadPool::globalInstance()->start([promise, output = task.temporaryOutput,
                                             input = task.input, expected = expectedSoundOf(task)] {
        promise->addResult(checkOutput(output, input, expected));
        promise->finish();
    });
    return watcher;
}

} // namespace sonivert
