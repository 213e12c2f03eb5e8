"""What is in a snapshot: the origin at one instant, while it goes on changing."""
from content_case import ContentCase


class ContentTest(ContentCase):
    types = ("xfs", "ext2", "ext3", "ext4")

    def test_xfs_cloned(self):
        self.prove("xfs")

    def test_ext2_cloned(self):
        self.prove("ext2")

    def test_ext3_cloned(self):
        self.prove("ext3")

    def test_ext4_cloned(self):
        self.prove("ext4")

    def test_xfs_copied_where_files_cannot_be_cloned(self):
        self.prove("xfs", folder=self.plain_store())

    def test_ext4_copied_where_files_cannot_be_cloned(self):
        self.prove("ext4", folder=self.plain_store())

    def plain_store(self):
        return self.room.disk("ext4", "plain", folder=self.room.folder, size=1 << 30).point
