-- Media index schema, version 1.
--
-- Five tables, one per kind of entry: music, video, photo, playlist and directory. All
-- have the same columns: "id" and one column for each field of the media item record
-- (ZEVO_MEDIA_INFO), under the field's own name, so that a row fills a record by name;
-- then the columns the record has no field for, which readers fetch by name
-- (bits_per_sample), added to tables made before them.
--
-- Titles sort with the collation calyx_title: case-insensitive, accent-aware and numeric
-- ("track 2" before "Track 10") whatever the cluster's locale. It is deterministic, so
-- equality, LIKE and ILIKE on titles are unchanged; only ORDER BY ... COLLATE uses it.
--
-- Tables are created in the first schema of the search path. Loading the file again
-- changes nothing.

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

COMMIT;
