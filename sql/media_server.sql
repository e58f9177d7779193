-- The media server's own tables, kept in the media index database beside the index:
-- calyx-dms creates them at start and `calyx db init` when it prepares a database.
--
-- bookmark: the resume position a client (a Samsung television, X_SetBookmark) stored
-- for a video, one per client MAC and video; rows go with their video.
--
-- Tables are created in the first schema of the search path, after the index's own
-- (sql/media_index.sql). Loading the file again changes nothing.

CREATE TABLE IF NOT EXISTS bookmark (
    client_mac text   NOT NULL,
    video_id   bigint NOT NULL REFERENCES video (id) ON DELETE CASCADE,
    position   bigint NOT NULL CHECK (position > 0),
    updated    timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (client_mac, video_id)
);
CREATE INDEX IF NOT EXISTS bookmark_video ON bookmark (video_id);
