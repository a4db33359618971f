#include "tools/ksbeacon/portal/PortalConnection.h"

#include <utility>

namespace ks::portal {

namespace {

using Reference = std::shared_ptr<PortalConnection>;

}  // namespace

PortalConnection::PortalConnection(GObjectOwned<GIOStream> stream, std::deque<std::string> pieces,
                                   Seconds delay)
    : stream_(std::move(stream)),
      pieces_(std::move(pieces)),
      delay_(delay),
      cancellable_(g_cancellable_new()),
      timer_([this] { writeNext(); }) {}

void PortalConnection::start(std::function<void()> done) {
  done_ = std::move(done);
  writeNext();
}

void PortalConnection::cancel() {
  pieces_.clear();
  timer_.stop();
  g_cancellable_cancel(cancellable_.get());
  if (current_.empty()) close();
}

void PortalConnection::writeNext() {
  if (pieces_.empty()) return close();
  current_ = std::move(pieces_.front());
  pieces_.pop_front();
  g_output_stream_write_all_async(
      g_io_stream_get_output_stream(stream_.get()), current_.data(), current_.size(),
      G_PRIORITY_DEFAULT, cancellable_.get(),
      [](GObject* stream, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Reference> self(static_cast<Reference*>(data));
        PortalConnection& connection = **self;
        connection.current_.clear();
        const bool isWritten =
            g_output_stream_write_all_finish(G_OUTPUT_STREAM(stream), result, nullptr, nullptr);
        if (!isWritten || connection.pieces_.empty()) return connection.close();
        connection.timer_.start(connection.delay_);
      },
      std::make_unique<Reference>(shared_from_this()).release());
}

void PortalConnection::close() {
  if (!done_) return;
  const auto self = shared_from_this();
  g_io_stream_close(stream_.get(), nullptr, nullptr);
  std::exchange(done_, nullptr)();
}

}  // namespace ks::portal
