#include <atspi/atspi.h>

#include "platform/linux/AtspiAccessibilityTree.h"

#include "platform/linux/DesktopIdentity.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QHash>
#include <QLoggingCategory>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

// How long each read took on the worker, and reads given up; QT_LOGGING_RULES="sorawen.accessibility.debug=true".
Q_LOGGING_CATEGORY(readTrace, "sorawen.accessibility", QtWarningMsg)

QString takeString(gchar *text)
{
    QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

// Returns an owned reference; nullptr stays nullptr.
AtspiAccessible *ref(AtspiAccessible *accessible)
{
    return accessible != nullptr ? static_cast<AtspiAccessible *>(g_object_ref(accessible)) : nullptr;
}

bool hasState(AtspiAccessible *accessible, AtspiStateType state)
{
    AtspiStateSet *states = atspi_accessible_get_state_set(accessible);
    const bool contains = states != nullptr && atspi_state_set_contains(states, state);
    if (states != nullptr)
        g_object_unref(states);
    return contains;
}

qint32 processOf(AtspiAccessible *accessible)
{
    return qint32(atspi_accessible_get_process_id(accessible, nullptr));
}

} // namespace

// The thread that owns every libatspi object, and what it remembers of the focus.
struct AtspiAccessibilityTree::Worker {
    std::chrono::milliseconds timeout;
    // libatspi attaches its connection to each application (not only the registry's) to the
    // process's default GLib context; whoever iterates it runs libatspi, which is not thread-safe.
    // When the main thread's event loop is not GLib's (the application's), this thread takes the
    // default context and so is the only one; otherwise (test programs) it has its own.
    GMainContext *context
        = isDefaultContextFree() ? g_main_context_ref(g_main_context_default()) : g_main_context_new();
    GMainLoop *loop = g_main_loop_new(context, FALSE);
    std::thread thread;
    // Touched only on the worker thread.
    // When the caller of the job running now stops waiting for it.
    std::chrono::steady_clock::time_point jobDeadline = std::chrono::steady_clock::time_point::max();
    AtspiAccessible *lastFocused = nullptr;
    AtspiAccessible *lastWindow = nullptr;
    AtspiEventListener *listener = nullptr;
    const qint32 ownProcess = qint32(getpid());

    explicit Worker(std::chrono::milliseconds timeout)
        : timeout(timeout)
    {
        // Jobs posted meanwhile wait on the context until the loop runs, after the set-up; the
        // caller (the main thread, at start) does not wait for libatspi to reach the bus.
        thread = std::thread([this] {
            g_main_context_push_thread_default(context);
            atspi_set_main_context(context);
            atspi_init();
            // Each D-Bus call to an application gives up after this long; one that started moments
            // ago gets the startup allowance.
            atspi_set_timeout(int(this->timeout.count()), int(startupAllowance().count()));
            listener = atspi_event_listener_new(&Worker::onEvent, this, nullptr);
            atspi_event_listener_register(listener, "object:state-changed:focused", nullptr);
            atspi_event_listener_register(listener, "window:activate", nullptr);
            g_main_loop_run(loop);
            atspi_event_listener_deregister(listener, "object:state-changed:focused", nullptr);
            atspi_event_listener_deregister(listener, "window:activate", nullptr);
            g_object_unref(listener);
            g_clear_object(&lastFocused);
            g_clear_object(&lastWindow);
            g_main_context_pop_thread_default(context);
        });
    }

    ~Worker()
    {
        post([loop = loop] { g_main_loop_quit(loop); });
        thread.join();
        // libatspi keeps its D-Bus sources on the context for the rest of the process.
        g_main_loop_unref(loop);
    }

    static bool isDefaultContextFree()
    {
        const QCoreApplication *application = QCoreApplication::instance();
        const QAbstractEventDispatcher *mainLoop
            = application != nullptr ? QAbstractEventDispatcher::instance(application->thread()) : nullptr;
        return mainLoop != nullptr && !mainLoop->inherits("QEventDispatcherGlib");
    }

    static void onEvent(AtspiEvent *event, void *data)
    {
        auto *self = static_cast<Worker *>(data);
        if (event->source != nullptr && processOf(event->source) != self->ownProcess) {
            const QByteArray type(event->type);
            if (type.startsWith("object:state-changed:focused") && event->detail1 == 1) {
                g_clear_object(&self->lastFocused);
                self->lastFocused = ref(event->source);
            } else if (type.startsWith("window:activate")) {
                g_clear_object(&self->lastWindow);
                self->lastWindow = ref(event->source);
            }
        }
        // The listener owns the event it is given.
        g_boxed_free(ATSPI_TYPE_EVENT, event);
    }

    std::chrono::milliseconds startupAllowance() const { return timeout * 4; }

    // Queues `job` on the worker's context. Never runs it in the caller, as
    // g_main_context_invoke would when the context has no owner yet.
    void post(std::function<void()> job)
    {
        GSource *source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(
            source,
            [](gpointer data) -> gboolean {
                (*static_cast<std::function<void()> *>(data))();
                return G_SOURCE_REMOVE;
            },
            new std::function<void()>(std::move(job)),
            [](gpointer data) { delete static_cast<std::function<void()> *>(data); });
        g_source_attach(source, context);
        g_source_unref(source);
    }

    // On the worker thread: whether the caller of the running job has stopped waiting for it. The
    // searches ask between their calls, so a job given up on frees the thread for the next one
    // after at most one more call's time-out.
    bool isPastDeadline() const { return std::chrono::steady_clock::now() >= jobDeadline; }

    // Runs `work` on the worker thread; nothing when it does not finish in time. A job may make
    // several calls, and libatspi now and then waits out a call's whole time-out although the
    // application answered (seen with GTK 3 applications, and at their startup allowance): the
    // wait covers one such call and the rest of the job. A job still queued when its caller gave
    // up is dropped unrun; `discard` releases what a job finished too late returned.
    template<typename Result>
    std::optional<Result> run(std::function<Result()> work, std::function<void(Result &)> discard = {})
    {
        const std::chrono::milliseconds limit = startupAllowance() + timeout;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        struct Shared {
            std::mutex mutex;
            std::condition_variable done;
            std::optional<Result> result;
            bool isAbandoned = false;
        };
        auto shared = std::make_shared<Shared>();
        QElapsedTimer queued;
        queued.start();
        post([this, shared, work = std::move(work), discard = std::move(discard), queued, deadline] {
            const qint64 waited = queued.elapsed();
            if (std::chrono::steady_clock::now() >= deadline) {
                qCDebug(readTrace, "read dropped: its caller gave up while it waited %lld ms", waited);
                return;
            }
            jobDeadline = deadline;
            Result result = work();
            jobDeadline = std::chrono::steady_clock::time_point::max();
            qCDebug(readTrace, "read: %lld ms queued, %lld ms running", waited, queued.elapsed() - waited);
            std::scoped_lock lock(shared->mutex);
            if (shared->isAbandoned) {
                if (discard)
                    discard(result);
                return;
            }
            shared->result = std::move(result);
            shared->done.notify_all();
        });
        std::unique_lock lock(shared->mutex);
        if (!shared->done.wait_until(lock, deadline, [&] { return shared->result.has_value(); })) {
            shared->isAbandoned = true;
            qCDebug(readTrace, "read given up after %lld ms", qint64(limit.count()));
            return std::nullopt;
        }
        return std::move(shared->result);
    }

    // The next event may replace (and release) the remembered window or element: every element is
    // held by a reference of its own while calls are made on it, and the searches below return
    // owned references.

    // On the worker thread: the active top-level window of another process, owned.
    AtspiAccessible *activeWindow()
    {
        if (lastWindow != nullptr) {
            AtspiAccessible *window = ref(lastWindow);
            if (hasState(window, ATSPI_STATE_ACTIVE))
                return window;
            g_object_unref(window);
        }
        AtspiAccessible *desktop = atspi_get_desktop(0);
        AtspiAccessible *found = nullptr;
        const int applications = atspi_accessible_get_child_count(desktop, nullptr);
        for (int a = 0; a < applications && found == nullptr && !isPastDeadline(); ++a) {
            AtspiAccessible *application = atspi_accessible_get_child_at_index(desktop, a, nullptr);
            if (application == nullptr)
                continue;
            if (processOf(application) != ownProcess) {
                const int windows = atspi_accessible_get_child_count(application, nullptr);
                for (int w = 0; w < windows && found == nullptr && !isPastDeadline(); ++w) {
                    AtspiAccessible *window = atspi_accessible_get_child_at_index(application, w, nullptr);
                    if (window != nullptr && hasState(window, ATSPI_STATE_ACTIVE))
                        found = ref(window);
                    g_clear_object(&window);
                }
            }
            g_object_unref(application);
        }
        g_object_unref(desktop);
        if (found != nullptr) {
            g_clear_object(&lastWindow);
            lastWindow = ref(found);
        }
        return found;
    }

    // On the worker thread: the focused element inside `window`, searched breadth-first, bounded; owned.
    AtspiAccessible *focusedDescendant(AtspiAccessible *window) const
    {
        std::vector<AtspiAccessible *> queue{ref(window)};
        AtspiAccessible *found = nullptr;
        for (size_t i = 0; i < queue.size() && i < 5000 && !isPastDeadline(); ++i) {
            AtspiAccessible *node = queue[i];
            if (found == nullptr && i > 0 && hasState(node, ATSPI_STATE_FOCUSED))
                found = ref(node);
            if (found == nullptr) {
                const int children = atspi_accessible_get_child_count(node, nullptr);
                for (int c = 0; c < children && c < 500 && !isPastDeadline(); ++c) {
                    if (AtspiAccessible *child = atspi_accessible_get_child_at_index(node, c, nullptr))
                        queue.push_back(child);
                }
            }
        }
        for (AtspiAccessible *node : queue)
            g_object_unref(node);
        return found;
    }

    // On the worker thread: the element that has the focus now, in `window` (held by the caller); owned.
    AtspiAccessible *focusedElement(AtspiAccessible *window)
    {
        if (lastFocused != nullptr) {
            AtspiAccessible *focused = ref(lastFocused);
            if (hasState(focused, ATSPI_STATE_FOCUSED) && processOf(focused) == processOf(window))
                return focused;
            g_object_unref(focused);
        }
        AtspiAccessible *found = focusedDescendant(window);
        if (found != nullptr) {
            g_clear_object(&lastFocused);
            lastFocused = ref(found);
        }
        return found;
    }

    // On the worker thread: the element that has the focus now, in the active window; owned.
    AtspiAccessible *focusedElement()
    {
        AtspiAccessible *window = activeWindow();
        if (window == nullptr)
            return nullptr;
        AtspiAccessible *found = focusedElement(window);
        g_object_unref(window);
        return found;
    }
};

namespace {

using Worker = AtspiAccessibilityTree::Worker;

// An element handle; its reads and its release happen on the worker thread.
class AtspiElement final : public AccessibleElement
{
public:
    AtspiElement(std::shared_ptr<Worker> worker, AtspiAccessible *accessible)
        : worker(std::move(worker))
        , accessible(accessible)
    { }
    // Released on the worker in its turn; nobody waits for that.
    ~AtspiElement() override
    {
        worker->post([accessible = accessible] { g_object_unref(accessible); });
    }

    std::optional<QString> title() const override
    {
        return read([](AtspiAccessible *a) -> std::optional<QString> {
            return takeString(atspi_accessible_get_name(a, nullptr));
        });
    }
    std::optional<QString> role() const override
    {
        return read([](AtspiAccessible *a) -> std::optional<QString> {
            gchar *name = atspi_accessible_get_role_name(a, nullptr);
            if (name == nullptr)
                return std::nullopt;
            return takeString(name);
        });
    }
    std::optional<QString> subrole() const override { return std::nullopt; }
    std::optional<QString> identifier() const override
    {
        return read([](AtspiAccessible *a) -> std::optional<QString> {
            gchar *id = atspi_accessible_get_accessible_id(a, nullptr);
            if (id == nullptr)
                return std::nullopt;
            return takeString(id);
        });
    }
    std::optional<QString> selectedText() const override
    {
        return readText([](AtspiText *text) -> std::optional<QString> {
            if (atspi_text_get_n_selections(text, nullptr) < 1)
                return std::nullopt;
            AtspiRange *range = atspi_text_get_selection(text, 0, nullptr);
            if (range == nullptr)
                return std::nullopt;
            std::optional<QString> selected
                = takeString(atspi_text_get_text(text, range->start_offset, range->end_offset, nullptr));
            g_free(range);
            return selected;
        });
    }
    std::optional<Range> selectedTextRange() const override
    {
        std::optional<std::optional<Range>> result
            = worker->run<std::optional<Range>>([a = accessible]() -> std::optional<Range> {
                  AtspiText *text = atspi_accessible_get_text_iface(a);
                  if (text == nullptr)
                      return std::nullopt;
                  std::optional<Range> range;
                  if (atspi_text_get_n_selections(text, nullptr) > 0) {
                      if (AtspiRange *selection = atspi_text_get_selection(text, 0, nullptr)) {
                          range = Range{selection->start_offset, selection->end_offset - selection->start_offset};
                          g_free(selection);
                      }
                  }
                  if (!range) {
                      GError *error = nullptr;
                      const gint caret = atspi_text_get_caret_offset(text, &error);
                      if (error == nullptr && caret >= 0)
                          range = Range{caret, 0};
                      g_clear_error(&error);
                  }
                  g_object_unref(text);
                  return range;
              });
        return result.value_or(std::nullopt);
    }
    std::optional<QString> stringForRange(Range range) const override
    {
        return readText([range](AtspiText *text) -> std::optional<QString> {
            GError *error = nullptr;
            gchar *part = atspi_text_get_text(text, gint(range.location), gint(range.location + range.length), &error);
            if (error != nullptr) {
                g_clear_error(&error);
                g_free(part);
                return std::nullopt;
            }
            return takeString(part);
        });
    }
    std::optional<qint64> numberOfCharacters() const override
    {
        std::optional<std::optional<qint64>> count
            = worker->run<std::optional<qint64>>([a = accessible]() -> std::optional<qint64> {
                  AtspiText *text = atspi_accessible_get_text_iface(a);
                  if (text == nullptr)
                      return std::nullopt;
                  GError *error = nullptr;
                  const gint characters = atspi_text_get_character_count(text, &error);
                  g_object_unref(text);
                  if (error != nullptr) {
                      g_clear_error(&error);
                      return std::nullopt;
                  }
                  return characters;
              });
        return count.value_or(std::nullopt);
    }
    std::optional<QString> value() const override
    {
        return readText([](AtspiText *text) -> std::optional<QString> {
            GError *error = nullptr;
            // GTK 4 answers an end of -1 ("to the end") with nothing: the end is asked for first.
            const gint count = atspi_text_get_character_count(text, &error);
            if (error != nullptr) {
                g_clear_error(&error);
                return std::nullopt;
            }
            gchar *all = atspi_text_get_text(text, 0, count, &error);
            if (error != nullptr) {
                g_clear_error(&error);
                g_free(all);
                return std::nullopt;
            }
            return takeString(all);
        });
    }
    qint64 hash() const override { return identity; }

    // Bus name and object path: the same element always, another element never.
    void computeIdentity()
    {
        identity = worker
                       ->run<qint64>([a = accessible] {
                           const auto *object = reinterpret_cast<AtspiObject *>(a);
                           const QByteArray key = QByteArray(object->app != nullptr ? object->app->bus_name : "") + '\n'
                               + QByteArray(object->path);
                           return qint64(qHash(key, 0x5eed));
                       })
                       .value_or(0);
    }

private:
    std::optional<QString> read(std::function<std::optional<QString>(AtspiAccessible *)> reader) const
    {
        return worker->run<std::optional<QString>>([a = accessible, reader] { return reader(a); })
            .value_or(std::nullopt);
    }
    std::optional<QString> readText(std::function<std::optional<QString>(AtspiText *)> reader) const
    {
        return read([reader](AtspiAccessible *a) -> std::optional<QString> {
            AtspiText *text = atspi_accessible_get_text_iface(a);
            if (text == nullptr)
                return std::nullopt;
            std::optional<QString> result = reader(text);
            g_object_unref(text);
            return result;
        });
    }

    std::shared_ptr<Worker> worker;
    AtspiAccessible *accessible;
    qint64 identity = 0;
};

std::unique_ptr<AccessibleElement> wrap(
    const std::shared_ptr<Worker> &worker, std::optional<AtspiAccessible *> accessible)
{
    if (!accessible || *accessible == nullptr)
        return nullptr;
    auto element = std::make_unique<AtspiElement>(worker, *accessible);
    element->computeIdentity();
    return element;
}

} // namespace

namespace {

// libatspi is set up once per process and cannot be set up again, so every tree shares one worker,
// made by the first tree (whose timeout it keeps) and kept until the process ends.
std::shared_ptr<Worker> sharedWorker(std::chrono::milliseconds timeout)
{
    static std::mutex mutex;
    static std::shared_ptr<Worker> worker;
    std::scoped_lock lock(mutex);
    // libatspi aborts the process when it has no session bus to start from; without one the tree
    // stays empty.
    if (!worker && QDBusConnection::sessionBus().isConnected())
        worker = std::make_shared<Worker>(timeout);
    return worker;
}

} // namespace

AtspiAccessibilityTree::AtspiAccessibilityTree(std::chrono::milliseconds timeout)
    : worker(sharedWorker(timeout))
{ }

AtspiAccessibilityTree::~AtspiAccessibilityTree() = default;

std::optional<AccessibilityTree::Application> AtspiAccessibilityTree::frontmostApplication() const
{
    if (!worker)
        return std::nullopt;
    std::optional<std::optional<Application>> found
        = worker->run<std::optional<Application>>([worker = worker.get()]() -> std::optional<Application> {
              AtspiAccessible *window = worker->activeWindow();
              if (window == nullptr)
                  return std::nullopt;
              Application application;
              application.processIdentifier = processOf(window);
              if (AtspiAccessible *app = atspi_accessible_get_application(window, nullptr)) {
                  application.localizedName = takeString(atspi_accessible_get_name(app, nullptr));
                  g_object_unref(app);
              }
              g_object_unref(window);
              return application;
          });
    if (!found || !*found)
        return std::nullopt;
    Application application = **found;
    application.bundleIdentifier = DesktopIdentity::identifierOf(application.processIdentifier);
    return application;
}

namespace {

// The owned `accessible` when it belongs to process `owner`; else it is released.
AtspiAccessible *keepIfOwnedBy(AtspiAccessible *accessible, qint32 owner)
{
    if (accessible != nullptr && processOf(accessible) != owner)
        g_clear_object(&accessible);
    return accessible;
}

// What a job found after its caller gave up.
void release(AtspiAccessible *&accessible)
{
    g_clear_object(&accessible);
}

} // namespace

std::unique_ptr<AccessibleElement> AtspiAccessibilityTree::focusedWindow(const Application &application) const
{
    if (!worker)
        return nullptr;
    return wrap(worker, worker->run<AtspiAccessible *>([worker = worker.get(), owner = application.processIdentifier] {
        return keepIfOwnedBy(worker->activeWindow(), owner);
    }, release));
}

std::unique_ptr<AccessibleElement> AtspiAccessibilityTree::focusedElement(const Application &application) const
{
    if (!worker)
        return nullptr;
    return wrap(worker, worker->run<AtspiAccessible *>([worker = worker.get(), owner = application.processIdentifier] {
        return keepIfOwnedBy(worker->focusedElement(), owner);
    }, release));
}

AccessibilityTree::Focus AtspiAccessibilityTree::focus(const Application &application) const
{
    if (!worker)
        return {};
    using Pair = std::pair<AtspiAccessible *, AtspiAccessible *>;
    const std::optional<Pair> found = worker->run<Pair>(
        [worker = worker.get(), owner = application.processIdentifier] {
            AtspiAccessible *window = keepIfOwnedBy(worker->activeWindow(), owner);
            // The element is looked for in the window just read, not in one activated since.
            AtspiAccessible *element
                = window != nullptr ? keepIfOwnedBy(worker->focusedElement(window), owner) : nullptr;
            return Pair{window, element};
        },
        [](Pair &late) {
            release(late.first);
            release(late.second);
        });
    if (!found)
        return {};
    return {wrap(worker, found->first), wrap(worker, found->second)};
}
