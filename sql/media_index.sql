-- Media index schema, version 7.
--
-- Five tables, one per kind of entry: music, video, photo, playlist and directory. All
-- have the same columns: "id" and one column for each field of the media item record
-- (ZEVO_MEDIA_INFO), under the field's own name, so that a row fills a record by name,
-- "hidden" (rows of a media folder that is gone for the moment), and the columns the
-- record has no field for, which readers fetch by name (bits_per_sample); columns added
-- later are added to tables made before them.
--
-- Update ids: one global counter and one per browsable container, which only ever grow.
-- Every writer calls calyx_index_changed() in the transaction of its change.
--
-- Titles sort with the collation calyx_title: case-insensitive, accent-aware and numeric
-- ("track 2" before "Track 10") whatever the cluster's locale. It is deterministic, so
-- equality, LIKE and ILIKE on titles are unchanged; only ORDER BY ... COLLATE uses it.
--
-- Tables are created in the first schema of the search path. Loading the file again
-- changes nothing; loading it over an earlier version adds what the later versions added.

BEGIN;

-- A PostgreSQL built without ICU still loads the schema; titles then sort by the
-- database's own collation.
DO $$
BEGIN
    CREATE COLLATION IF NOT EXISTS calyx_title (provider = icu, locale = 'und-u-ks-level2-kn-true');
EXCEPTION WHEN feature_not_supported OR invalid_parameter_value THEN
    CREATE COLLATION IF NOT EXISTS calyx_title FROM "default";
END
$$;

CREATE TABLE IF NOT EXISTS media_index_version (
    version integer NOT NULL
);
INSERT INTO media_index_version (version)
    SELECT 2 WHERE NOT EXISTS (SELECT 1 FROM media_index_version);
UPDATE media_index_version SET version = 2 WHERE version < 2;

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
        -- Version 2: rows under a media folder that is gone are hidden until it returns.
        EXECUTE format('ALTER TABLE %I ADD COLUMN IF NOT EXISTS hidden boolean NOT NULL DEFAULT false', t);
        EXECUTE format('ALTER TABLE %I ADD COLUMN IF NOT EXISTS bits_per_sample integer', t);
        -- Browsing: an entry by its path (equality and ordering), a folder's entries by
        -- path prefix (LIKE '/dir/%'), a folder's children in title order, and listings
        -- ordered by title, date taken or modification time (id breaks ties). The title
        -- indexes of the first schema sorted by the cluster's collation: replaced.
        EXECUTE format('CREATE UNIQUE INDEX IF NOT EXISTS %I ON %I (path)', t || '_path_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (path text_pattern_ops)',
                       t || '_path_prefix_idx', t);
        EXECUTE format('DROP INDEX IF EXISTS %I', t || '_parent_title_idx');
        EXECUTE format('DROP INDEX IF EXISTS %I', t || '_title_idx');
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (parent_id, title COLLATE calyx_title, id)',
                       t || '_parent_title_sort_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (title COLLATE calyx_title, id)',
                       t || '_title_sort_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (date, id)', t || '_date_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (mdate, id)', t || '_mdate_idx', t);
    END LOOP;
END
$$;

-- The global update id (SystemUpdateID): one row, with the time of its last change
-- (seconds since the epoch; NULL before the first).
CREATE TABLE IF NOT EXISTS index_update (
    id               smallint PRIMARY KEY CHECK (id = 1),
    system_update_id bigint   NOT NULL
);
ALTER TABLE index_update ADD COLUMN IF NOT EXISTS changed_at bigint;
INSERT INTO index_update (id, system_update_id) VALUES (1, 0) ON CONFLICT (id) DO NOTHING;

-- A container's update id: the global update id of the last change of its direct
-- children. Containers are named as the server's object ids: '0' (the root), 'music',
-- 'video', 'photo', 'folders' (the top directories) and 'd<id>' (a directory row).
CREATE TABLE IF NOT EXISTS container_update (
    container text   PRIMARY KEY,
    update_id bigint NOT NULL
);
CREATE INDEX IF NOT EXISTS container_update_id_idx ON container_update (update_id);

-- The media folders an indexer run was given, and since when (seconds since the epoch)
-- each has been missing (NULL while it is there); mount_point: it was a mount point when
-- last seen, so finding it on its parent's device means that the mount is gone.
CREATE TABLE IF NOT EXISTS media_folder (
    path          text    PRIMARY KEY,
    missing_since bigint,
    mount_point   boolean NOT NULL DEFAULT false
);

-- Records one change: the global update id grows by one (and notes the time), every
-- container named takes the new value, listeners of "calyx_index_changed" hear the
-- schema's name at commit. Returns the new global value. Replaced only when it is not the
-- current one (the one that notes the time), so loading the file again changes nothing.
DO $$
BEGIN
    IF NOT EXISTS (SELECT 1 FROM pg_proc WHERE proname = 'calyx_index_changed'
                   AND pronamespace = current_schema()::regnamespace
                   AND prosrc LIKE '%changed_at%') THEN
        CREATE OR REPLACE FUNCTION calyx_index_changed(containers text[]) RETURNS bigint
        LANGUAGE plpgsql AS $body$
        DECLARE
            next_id bigint;
        BEGIN
            UPDATE index_update SET system_update_id = system_update_id + 1,
                                    changed_at = extract(epoch FROM now())::bigint
                RETURNING system_update_id INTO next_id;
            INSERT INTO container_update (container, update_id)
                SELECT DISTINCT c, next_id FROM unnest(containers) AS c
                ON CONFLICT (container) DO UPDATE SET update_id = EXCLUDED.update_id;
            PERFORM pg_notify('calyx_index_changed', current_schema());
            RETURN next_id;
        END
        $body$;
    END IF;
END
$$;

-- Version 3: covers, the large form of photos, and subtitle files. The columns go into
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

-- An index of an earlier version knows no covers nor large photos: its files are probed
-- again.
DO $$
BEGIN
    IF (SELECT max(version) FROM media_index_version) < 3 THEN
        UPDATE music SET mdate = 0;
        UPDATE video SET mdate = 0;
        UPDATE photo SET mdate = 0;
    END IF;
END
$$;
UPDATE media_index_version SET version = 3 WHERE version < 3;

-- Version 5: "contains" searches of titles use a trigram index (pg_trgm, part of
-- PostgreSQL's own packages) instead of reading every row. The extension is made in the
-- schema "public" when the role may (a trusted extension: the database's owner may);
-- where it cannot be made, searches read every row as before. The index is on the
-- expression the searches test.
DO $$
DECLARE
    t text;
    home text;
BEGIN
    BEGIN
        CREATE EXTENSION IF NOT EXISTS pg_trgm SCHEMA public;
    EXCEPTION WHEN OTHERS THEN
        -- Missing, not allowed, or made at this moment by another loader (seen below).
        NULL;
    END;
    SELECT extnamespace::regnamespace::text INTO home FROM pg_extension WHERE extname = 'pg_trgm';
    IF home IS NOT NULL THEN
        FOREACH t IN ARRAY ARRAY['music', 'video', 'photo'] LOOP
            EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I USING gin ((COALESCE(title, %L)) %s.gin_trgm_ops)',
                           t || '_title_trigram_idx', t, '', home);
        END LOOP;
    END IF;
END
$$;
UPDATE media_index_version SET version = 5 WHERE version < 5;

-- Version 6: the entries of playlist files, and what the views of music and photos group by.
--
-- One row per entry, in the file's order. target: the indexed path of the file the entry
-- names (relative entries resolved against the playlist's folder), or the URL as written.
-- The item an entry resolves to is the music, video or photo row whose path is target.
CREATE TABLE IF NOT EXISTS playlist_entry (
    playlist_id bigint  NOT NULL REFERENCES playlist (id) ON DELETE CASCADE,
    position    integer NOT NULL,             -- 1, 2, ... in the file's order
    target      text    NOT NULL,
    kind        text    NOT NULL CHECK (kind IN ('file', 'missing', 'url')),
    title       text    NOT NULL DEFAULT '',  -- the title the playlist gives it, if any
    PRIMARY KEY (playlist_id, position)
);
CREATE INDEX IF NOT EXISTS playlist_entry_target_idx ON playlist_entry (target);

-- The month a photo belongs to, "YYYY-MM": of its date taken, else of its file's
-- modification time (UTC, so that the value depends on the row alone), kept with the row
-- in the photo table's column taken_month: grouping 10,000s of photos by month then reads
-- a column instead of calling a function per row. (The format has no locale-dependent
-- field, so the function is immutable as declared.)
CREATE OR REPLACE FUNCTION calyx_photo_month(taken text, mdate bigint) RETURNS text
LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT CASE WHEN taken <> '' THEN substr(taken, 1, 7)
                WHEN mdate IS NOT NULL
                    THEN to_char(to_timestamp(mdate) AT TIME ZONE 'UTC', 'YYYY-MM')
                ELSE '' END
$$;
ALTER TABLE photo ADD COLUMN IF NOT EXISTS taken_month text
    GENERATED ALWAYS AS (calyx_photo_month(date, mdate)) STORED;
CREATE INDEX IF NOT EXISTS photo_month_idx ON photo (taken_month, id);
CREATE INDEX IF NOT EXISTS music_artist_idx ON music (artist, id);
CREATE INDEX IF NOT EXISTS music_album_idx ON music (album, id);
CREATE INDEX IF NOT EXISTS music_genre_idx ON music (genre, id);

-- An index of an earlier version holds no playlist entries: its playlists are read again.
DO $$
BEGIN
    IF (SELECT max(version) FROM media_index_version) < 6 THEN
        UPDATE playlist SET mdate = 0;
    END IF;
END
$$;
UPDATE media_index_version SET version = 6 WHERE version < 6;

-- Version 7: listings read only the rows that are shown, so their orders have indexes of
-- those rows alone. A page far into a listing counts past the rows before it in the
-- index without visiting the table (once a VACUUM has marked the table's pages visible,
-- as an index run that changed many rows does).
DO $$
DECLARE
    t text;
BEGIN
    FOREACH t IN ARRAY ARRAY['music', 'video', 'photo'] LOOP
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (title COLLATE calyx_title, id) WHERE NOT hidden',
                       t || '_shown_title_idx', t);
        EXECUTE format('CREATE INDEX IF NOT EXISTS %I ON %I (parent_id, title COLLATE calyx_title, id) WHERE NOT hidden',
                       t || '_shown_parent_title_idx', t);
    END LOOP;
END
$$;
UPDATE media_index_version SET version = 7 WHERE version < 7;

COMMIT;
