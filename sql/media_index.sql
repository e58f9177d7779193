-- Media index schema, version 2.
--
-- Five tables, one per kind of entry: music, video, photo, playlist and directory. All
-- have the same columns: "id" and one column for each field of the media item record
-- (ZEVO_MEDIA_INFO), under the field's own name, so that a row fills a record by name.
--
-- Tables are created in the first schema of the search path. Loading the file again
-- changes nothing.

BEGIN;

CREATE TABLE IF NOT EXISTS media_index_version (
    version integer NOT NULL
);
INSERT INTO media_index_version (version)
    SELECT 1 WHERE NOT EXISTS (SELECT 1 FROM media_index_version);

DO $$
DECLARE
    t text;
BEGIN
    FOREACH t IN ARRAY ARRAY['music', 'video', 'photo', 'playlist', 'directory'] LOOP
        EXECUTE format($columns$
            CREATE TABLE IF NOT EXISTS %I (
                id             bigserial PRIMARY KEY,
                parent_id      bigint NOT NULL DEFAULT 0,  -- holding directory row, 0: none
                path           text   NOT NULL,            -- absolute path of the file
                title          text,
                artist         text,
                album          text,
                genre          text,
                mime_type      text,
                filesize       bigint,                     -- bytes
                duration       integer,                    -- whole seconds
                audio_bitrate  bigint,                     -- bits per second (0 .. 2^32-1)
                frame_bitrate  bigint,
                video_bitrate  bigint,
                frame_rate_num integer,
                frame_rate_den integer,
                samplerate     integer,                    -- Hz
                channel        integer,
                resolutionx    integer,                    -- pixels
                resolutiony    integer,
                video_codec    text,
                container_type text,
                audio_codec    text,
                track          integer,
                year           integer,
                rotation       integer,                    -- degrees
                date           text CHECK (date = ''
                                   OR date ~ '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}$'),
                mdate          bigint,                     -- seconds since the epoch
                cdate          bigint,
                thumbnail      text
            ) $columns$, t);
        -- Browsing: an entry by its path (equality and ordering), a folder's entries by
        -- path prefix (LIKE '/dir/%'), a folder's children by title, and listings
        -- ordered by title, date taken or modification time (id breaks ties).
        EXECUTE format('CREATE UNIQUE INDEX IF NOT EXISTS %I ON %I (path)', t || '_path_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (path text_pattern_ops)',
                       t || '_path_prefix_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (parent_id, title)',
                       t || '_parent_title_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (title, id)', t || '_title_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (date, id)', t || '_date_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (mdate, id)', t || '_mdate_idx', t);
    END LOOP;
END
$$;

-- Version 2: covers, the large form of photos, and subtitle files. The columns go into
-- every table, so that the five keep one set of columns.
DO $$
DECLARE
    t text;
BEGIN
    FOREACH t IN ARRAY ARRAY['music', 'video', 'photo', 'playlist', 'directory'] LOOP
        EXECUTE format($columns$
            ALTER TABLE %I
                ADD COLUMN IF NOT EXISTS cover_original  text,    -- the cover as it was
                ADD COLUMN IF NOT EXISTS cover_mime      text,
                ADD COLUMN IF NOT EXISTS cover_width     integer,
                ADD COLUMN IF NOT EXISTS cover_height    integer,
                ADD COLUMN IF NOT EXISTS cover_thumbnail text,    -- JPEG, longer side 160
                ADD COLUMN IF NOT EXISTS cover_small     text,    -- JPEG, longer side 480
                ADD COLUMN IF NOT EXISTS cover_file      text,    -- directory: its cover file
                ADD COLUMN IF NOT EXISTS cover_size      bigint,  -- ... its size and time
                ADD COLUMN IF NOT EXISTS cover_mtime     bigint,
                ADD COLUMN IF NOT EXISTS large           text     -- photo: JPEG, side 1920
            $columns$, t);
    END LOOP;
END
$$;

-- Subtitle files beside videos. video_path is the indexed path of the video in the same
-- folder whose file name the subtitle's begins with ("Film.srt", "Film.en.srt"), or ''.
CREATE TABLE IF NOT EXISTS subtitle (
    id         bigserial PRIMARY KEY,
    parent_id  bigint NOT NULL DEFAULT 0,
    path       text   NOT NULL,
    video_path text   NOT NULL DEFAULT '',
    language   text   NOT NULL DEFAULT '',  -- "en" of "Film.en.srt"; '' when none
    format     text   NOT NULL,             -- srt, ass, ssa, sub, smi or vtt
    filesize   bigint,
    mdate      bigint
);
CREATE UNIQUE INDEX IF NOT EXISTS subtitle_path_idx ON subtitle (path);
CREATE INDEX IF NOT EXISTS subtitle_video_idx ON subtitle (video_path, language, id);
CREATE INDEX IF NOT EXISTS subtitle_parent_idx ON subtitle (parent_id, path);

-- An index of version 1 knows no covers nor large photos: its files are probed again.
DO $$
BEGIN
    IF (SELECT max(version) FROM media_index_version) < 2 THEN
        UPDATE music SET mdate = 0;
        UPDATE video SET mdate = 0;
        UPDATE photo SET mdate = 0;
    END IF;
END
$$;
UPDATE media_index_version SET version = 2 WHERE version < 2;

COMMIT;
